// Foreign files: what PLY and CSV files begin with.

#include "tools/clouds/foreign_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "util/io/plain_input.h"

std::string ConvertHint(const InputFile& file) {
    std::array<char, 256> room;
    PlainInput input;
    if (!input.Open(file.Path().c_str(), false)) return "";
    const std::int64_t read = input.Read(std::as_writable_bytes(std::span(room)));
    const std::string_view head(room.data(),
                                static_cast<std::size_t>(std::max<std::int64_t>(read, 0)));
    const char* form = nullptr;
    if (head.starts_with("ply\n") || head.starts_with("ply\r")) form = "ply";
    // Any text may be a CSV file, so only the name shows that it is one.
    const bool is_text = head.find('\0') == head.npos;
    if (file.Name().ends_with(".csv") && is_text) form = "csv";
    return form ? std::string("; ptc convert --from ") + form + " makes one of it" : "";
}
