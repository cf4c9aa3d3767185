// Text from files, hosts and users, made fit for one line of a terminal.
//
// A name may hold newlines, escape sequences or bytes that are no characters; printed as they are,
// they forge lines of a log or command a terminal.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

/// Writes `text` with every control character, and every byte that is not valid UTF-8, as "\n",
/// "\r", "\t" or "\xNN"; answers how many bytes of `out` were written. Stops before the first
/// character that no longer fits. Allocates nothing.
std::size_t WritePrintable(std::string_view text, std::span<char> out);

/// The same, whole, as a string. Throws std::bad_alloc.
std::string Printable(std::string_view text);

/// The same on the stack, zero-terminated, for lines that must come out without memory. Holds any
/// text of `Bytes` bytes whole.
template <std::size_t Bytes>
class PrintableText {
public:
    explicit PrintableText(std::string_view text) {
        text_[WritePrintable(text, std::span(text_).first(sizeof text_ - 1))] = '\0';
    }
    const char* c_str() const { return text_; }

private:
    char text_[4 * Bytes + 1];
};
