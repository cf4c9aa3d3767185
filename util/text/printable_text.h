// Makes text from files, hosts and users safe to print on one line of a terminal.
//
// Such a text may hold newlines or escape sequences. Printed unchanged, they would fake lines of a
// log or send commands to the terminal.
//
// Units      bytes.
// Errors     none, except for memory where a function says so.
// Ownership  texts are copied.
// Threads    any.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

/// Copies `text` into `out`, with every control character and every byte that is not valid UTF-8
/// replaced by "\n", "\r", "\t" or "\xNN". Returns how many bytes were written. Stops before the
/// first character that does not fit. Allocates nothing.
std::size_t WritePrintable(std::string_view text, std::span<char> out);

/// The whole text as WritePrintable() writes it. Throws std::bad_alloc.
std::string Printable(std::string_view text);

/// The same on the stack, with a terminating zero, for lines that are printed when memory has run
/// out. Has room for any text of up to `Bytes` bytes: one byte becomes four at most.
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
