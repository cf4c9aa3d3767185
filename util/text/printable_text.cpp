// Decides which characters a terminal may get, and replaces the others.

#include "util/text/printable_text.h"

#include <algorithm>

#include "util/text/utf8.h"

namespace {

constexpr std::size_t kEscapeBytes = 4;

/// How many bytes the printable character that `text` begins with has; 0 when it begins with
/// anything else. The controls U+0080 to U+009F are not printable: some terminals obey them.
std::size_t PrintableCharacter(std::string_view text) {
    const Utf8Sequence sequence = FirstUtf8Sequence(text);
    const std::uint32_t code = sequence.code;
    const bool is_control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    return sequence.is_character && !is_control ? sequence.length : 0;
}

/// The text that replaces one byte.
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
        const Escape escape(static_cast<unsigned char>(text.front()));
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
