// Cuts printf formats without cutting a conversion in two.
//
// Units      bytes.
// Errors     none.
// Ownership  the result is a view into the format.
// Threads    any.

#pragma once

#include <cstddef>
#include <string_view>

/// The longest beginning of `format` that has at most `most` bytes and only whole conversions.
inline std::string_view CutFormat(std::string_view format, std::size_t most) {
    if (format.size() <= most) return format;
    format = format.substr(0, most);
    constexpr std::string_view kBeforeTheLetter = "-+ #0'I*.123456789$hlLqjztZ";
    for (std::size_t at = 0; (at = format.find('%', at)) != std::string_view::npos;) {
        const std::size_t letter = format.find_first_not_of(kBeforeTheLetter, at + 1);
        if (letter == std::string_view::npos) return format.substr(0, at);
        at = letter + 1;
    }
    return format;
}
