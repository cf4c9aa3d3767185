// Decoding one UTF-8 character at a time, from text that may be damaged.
//
// Units      bytes; `code` is a Unicode code point.
// Errors     damaged text is a sequence of length 0, or one that is no character.
// Ownership  none.
// Threads    any.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Bytes in the form of one character: a lead byte and the continuation bytes that it announces.
struct Utf8Sequence {
    std::size_t length = 0;  ///< 0: the text begins with no such sequence
    std::uint32_t code = 0;
    bool is_character = false;  ///< false for overlong forms, surrogates, codes above U+10FFFF
};

/// The sequence that `text` begins with. Caller: `text` is not empty.
Utf8Sequence FirstUtf8Sequence(std::string_view text);
