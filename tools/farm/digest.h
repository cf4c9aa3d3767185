// Digest: the 64-bit hash FNV-1a of texts and numbers. It tells one state from the next; it is no
// protection against who wants two states to look alike.
//
// Units      none.
// Errors     none.
// Threads    one caller at a time.

#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace farm {

class Digest {
public:
    /// The length keeps "ab", "c" apart from "a", "bc".
    void Add(std::string_view text) {
        AddNumber(static_cast<std::int64_t>(text.size()));
        for (const char one : text) AddByte(static_cast<unsigned char>(one));
    }
    void AddNumber(std::int64_t number) {
        for (int shift = 0; shift < 64; shift += 8)
            AddByte(static_cast<unsigned char>(static_cast<std::uint64_t>(number) >> shift));
    }

    /// 16 hexadecimal digits.
    std::string Text() const { return fmt::format("{:016x}", hash_); }

private:
    void AddByte(unsigned char byte) {
        constexpr std::uint64_t kPrime = 0x100000001b3;
        hash_ = (hash_ ^ byte) * kPrime;
    }

    std::uint64_t hash_ = 0xcbf29ce484222325;
};

}  // namespace farm
