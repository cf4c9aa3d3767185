// Classes of ASCII characters. isalpha() and its like depend on the process's locale, which is the
// host's; these functions do not.
//
// Units      none.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

constexpr bool IsAsciiLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

constexpr bool IsAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}
