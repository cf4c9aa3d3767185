// Numbers as text, read alike in every locale.

#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

/// Reads all of `text` as a number, with a decimal point. False: it is not a number, or does not
/// fit the type.
template <class Number>
bool ParseNumber(std::string_view text, Number* number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, *number);
    return result.ec == std::errc() && result.ptr == end;
}

/// Reads two numbers, one on each side of the first `mark`.
template <class Number>
bool ParseTwoNumbers(std::string_view text, char mark, Number* first, Number* second) {
    const std::size_t at = text.find(mark);
    return at != text.npos && ParseNumber(text.substr(0, at), first) &&
           ParseNumber(text.substr(at + 1), second);
}
