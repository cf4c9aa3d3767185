// Text made fit for a terminal: which characters stay, and what stands for the others.

#include "util/text/printable_text.h"

#include <algorithm>

namespace {

constexpr std::size_t kEscapeBytes = 4;

unsigned char At(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

/// Bytes of the printable character that `text` begins with; 0 when it begins with anything else.
/// Overlong forms, surrogates, values beyond Unicode and the controls U+0080 to U+009F, which some
/// terminals obey, are not printable.
std::size_t PrintableCharacter(std::string_view text) {
    const unsigned char first = At(text, 0);
    if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
    const std::size_t length = first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    if (length == 0 || first > 0xf4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((At(text, i) & 0xc0) != 0x80) return 0;
    const unsigned char second = At(text, 1);
    const bool is_valid = (first != 0xc2 || second >= 0xa0) && (first != 0xe0 || second >= 0xa0) &&
                          (first != 0xed || second < 0xa0) && (first != 0xf0 || second >= 0x90) &&
                          (first != 0xf4 || second < 0x90);
    return is_valid ? length : 0;
}

/// What stands for one byte that is not printed.
class Escape {
public:
    explicit Escape(unsigned char byte) {
        constexpr char kDigits[] = "0123456789abcdef";
        constexpr std::string_view kNamed = "\n\r\t";
        const std::size_t name = kNamed.find(static_cast<char>(byte));
        if (name != kNamed.npos) {
            text_[1] = "nrt"[name];
            length_ = 2;
        } else {
            text_[2] = kDigits[byte >> 4];
            text_[3] = kDigits[byte & 15];
        }
    }
    std::string_view Text() const { return {text_, length_}; }

private:
    char text_[kEscapeBytes] = {'\\', 'x'};
    std::size_t length_ = kEscapeBytes;
};

}  // namespace

std::size_t WritePrintable(std::string_view text, std::span<char> out) {
    std::size_t written = 0;
    while (!text.empty()) {
        const std::size_t length = PrintableCharacter(text);
        const Escape escape(At(text, 0));
        const std::string_view piece = length ? text.substr(0, length) : escape.Text();
        if (piece.size() > out.size() - written) break;
        std::copy(piece.begin(), piece.end(), out.begin() + static_cast<std::ptrdiff_t>(written));
        written += piece.size();
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return written;
}

std::string Printable(std::string_view text) {
    std::string printable(kEscapeBytes * text.size(), '\0');
    printable.resize(WritePrintable(text, printable));
    return printable;
}
