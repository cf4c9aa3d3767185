// Numbers from the text of tables, as C reads them in the "C" locale, and back.

#pragma once

#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

namespace convert {

/// Reads what most numbers of a table are, in half the time: a minus sign or none, 1 to 15 digits
/// and a point among them or none. False: `text` is something else, or has to be looked at closely.
///
/// The digits and the power of ten are exact, so the quotient is the double next to the number, and
/// no number half way between two floats lies between the two. Only where the double itself
/// is half way, the float next to it may be another than the one next to the number.
inline bool ParsePlain(std::string_view text, float* value) {
    constexpr std::ptrdiff_t kMostDigits = 15;
    constexpr double kPowers[kMostDigits + 1] = {1,   1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const char* at = text.data();
    const char* const end = at + text.size();
    const bool is_negative = text.starts_with('-');
    at += is_negative;
    if (end - at > kMostDigits + 1) return false;
    std::uint64_t digits = 0;
    const auto take_digits = [&at, end, &digits] {
        const char* const first = at;
        for (; at < end && *at >= '0' && *at <= '9'; ++at)
            digits = 10 * digits + static_cast<std::uint64_t>(*at - '0');
        return at - first;
    };
    const std::ptrdiff_t whole = take_digits();
    std::ptrdiff_t fraction = 0;
    if (at < end && *at == '.') {
        ++at;
        fraction = take_digits();
        if (fraction == 0) return false;
    }
    if (at < end || whole == 0 || whole + fraction > kMostDigits) return false;
    const double number = static_cast<double>(digits) / kPowers[fraction];
    constexpr std::uint64_t kBelowFloat = (std::uint64_t{1} << 29) - 1;
    if ((std::bit_cast<std::uint64_t>(number) & kBelowFloat) == kBelowFloat / 2 + 1) return false;
    *value = static_cast<float>(is_negative ? -number : number);
    return true;
}

/// Reads all of `text` as a float; it may begin with a plus sign. Overflow gives infinity,
/// underflow 0. False: it is not a number.
inline bool ParseFloat(std::string_view text, float* value) {
    if (ParsePlain(text, value)) return true;
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
