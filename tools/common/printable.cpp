// Printable: which bytes a terminal shows, and the escapes of the others.

#include "tools/common/printable.h"

#include <fmt/format.h>

namespace {

/// The bytes of the character that `text` begins with; 0: it is no well-formed UTF-8, or it is a
/// control character, of which some terminals also obey those from U+0080 to U+009F.
std::size_t ShownBytes(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned first = byte(0);
    if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
    if (first < 0xC0 || first > 0xF4) return 0;
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    unsigned value = first & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        value = value << 6U | (byte(i) & 0x3FU);
    }
    // Below these a shorter form exists, or it is a control character.
    constexpr unsigned kLeast[] = {0, 0, 0xA0, 0x800, 0x10000};
    const bool is_surrogate = value >= 0xD800 && value <= 0xDFFF;
    return value >= kLeast[size] && value <= 0x10FFFF && !is_surrogate ? size : 0;
}

std::string Escape(char c) {
    switch (c) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    }
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const std::size_t shown = ShownBytes(text);
        if (shown == 0) {
            printable += Escape(text.front());
        } else {
            printable += text.substr(0, shown);
        }
        text.remove_prefix(shown == 0 ? 1 : shown);
    }
    return printable;
}
