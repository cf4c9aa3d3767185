// Numbers of the command line: read alike in every locale.

#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

/// All of `text` as a number, with a decimal point. False: it is none, or does not fit the type.
template <class Number>
bool ParseNumber(std::string_view text, Number* number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, *number);
    return result.ec == std::errc() && result.ptr == end;
}
