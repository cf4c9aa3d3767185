// PrintTable: cells, quotes and widths.

#include "tools/ptc/print_table.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "tools/common/standard_streams.h"
#include "util/text/printable_text.h"

namespace {

constexpr std::size_t kOutputBytes = std::size_t{1} << 16;
constexpr std::size_t kFloatWidth = 13;  // a sign, seven digits, a point and an exponent

/// A variable's name may hold any character but a newline.
std::string Quoted(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == text.npos) return std::string(text);
    std::string quoted = "\"";
    for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
    return quoted + '"';
}

}  // namespace

/// Widths are fixed from the titles on: rows are not kept until the widest number is known.
PrintTable::PrintTable(Form form, const std::vector<std::string>& titles) : form_(form) {
    for (const std::string& title : titles) {
        const std::string shown = Shown(title);
        widths_.push_back(std::max(kFloatWidth, shown.size()));
        Cell(shown);
    }
    EndRow();
}

void PrintTable::Cell(std::string_view text) {
    if (column_ > 0) text_ += form_ == Form::kCsv ? ',' : ' ';
    const std::size_t width = form_ == Form::kCsv ? 0 : widths_[column_];
    if (text.size() < width) text_.append(width - text.size(), ' ');
    text_ += text;
    ++column_;
}

void PrintTable::Whole(std::int64_t value) {
    std::array<char, 24> room;
    const auto end = std::to_chars(room.data(), room.data() + room.size(), value).ptr;
    Cell({room.data(), static_cast<std::size_t>(end - room.data())});
}

void PrintTable::Float(float value) {
    std::array<char, 32> room;
    char* const last = room.data() + room.size();
    const auto end =
        form_ == Form::kCsv
            ? std::to_chars(room.data(), last, value).ptr
            : std::to_chars(room.data(), last, value, std::chars_format::general, 7).ptr;
    Cell({room.data(), static_cast<std::size_t>(end - room.data())});
}

void PrintTable::Text(std::string_view text) {
    Cell(Shown(text));
}

/// CSV is data, and keeps names as they are; aligned columns are for a terminal.
std::string PrintTable::Shown(std::string_view text) const {
    return form_ == Form::kCsv ? Quoted(text) : Printable(text);
}

void PrintTable::EndRow() {
    text_ += '\n';
    column_ = 0;
    if (text_.size() >= kOutputBytes) Flush();
}

void PrintTable::Finish() {
    Flush();
}

void PrintTable::Flush() {
    WriteOut(text_);
    text_.clear();
}
