// The kinds and the two forms of the token layer's data files.

#pragma once

#include <cstdint>
#include <string_view>

/// What tells one kind of data file from another.
struct TokenFileKind {
    std::string_view magic;   ///< first line of the text form
    std::uint32_t type_code;  ///< first four bytes of the binary form
    std::uint32_t version;
};

enum class TokenForm { kBinary, kText };
