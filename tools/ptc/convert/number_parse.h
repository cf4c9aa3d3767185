// Numbers from the text of tables, as C reads them in the "C" locale, and back.

#pragma once

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

namespace convert {

/// Reads all of `text` as a float; it may begin with a plus sign. Overflow gives infinity,
/// underflow 0. False: it is not a number.
inline bool ParseFloat(std::string_view text, float* value) {
    if (text.starts_with('+')) text.remove_prefix(1);
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, *value);
    if (end != last || text.empty()) return false;
    if (error != std::errc::result_out_of_range) return error == std::errc();
    // A number out of the range of floats may still fit a double. Out of the range of doubles, its
    // sign and exponent say what it becomes.
    double wide = 0;
    if (std::from_chars(text.data(), last, wide).ec == std::errc()) {
        *value = static_cast<float>(wide);
        return true;
    }
    const bool is_small = text.find("e-") != text.npos || text.find("E-") != text.npos;
    *value = (text.front() == '-' ? -1.0f : 1.0f) * (is_small ? 0.0f : HUGE_VALF);
    return true;
}

/// No number that the functions below write takes more bytes, with a separator behind it.
inline constexpr std::size_t kMostNumberBytes = 20;

/// Writes the shortest text that reads back as the same float, and returns its end.
/// Caller: there is room for kMostNumberBytes.
inline char* WriteShortest(float value, char* text) {
    return std::to_chars(text, text + kMostNumberBytes, value).ptr;
}

inline char* WriteWhole(std::uint16_t value, char* text) {
    return std::to_chars(text, text + kMostNumberBytes, value).ptr;
}

inline void AppendShortest(float value, std::string* text) {
    char room[kMostNumberBytes];
    text->append(room, WriteShortest(value, room));
}

}  // namespace convert
