// Decoding UTF-8.

#include "util/text/utf8.h"

namespace {

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// How many bytes a sequence with this lead byte has; 0 for a byte that begins none.
std::size_t LengthByLead(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC2) return 0;  // a continuation, or the lead of an overlong form
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    return lead < 0xF5 ? 4 : 0;
}

bool IsCharacter(std::uint32_t code, std::size_t length) {
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};  // less is an overlong form
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= kLeast[length] && code <= 0x10FFFF && !is_surrogate;
}

}  // namespace

Utf8Sequence FirstUtf8Sequence(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = LengthByLead(lead);
    if (length == 0 || text.size() < length) return {};
    // The lead byte of n > 1 bytes has n ones, a zero, then the highest 7 - n bits of the code.
    std::uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
    for (const char byte : text.substr(1, length - 1)) {
        if (!IsContinuation(byte)) return {};
        code = code << 6 | (static_cast<unsigned char>(byte) & 0x3Fu);
    }
    return {length, code, IsCharacter(code, length)};
}
