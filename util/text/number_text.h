// Numbers to text, byte-identical to printf in the "C" locale whatever locale the host has set.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// One value for a format: a whole number or a real one.
class Number {
public:
    Number(float value) : real_(value), is_real_(true) {}   // NOLINT(google-explicit-constructor)
    Number(double value) : real_(value), is_real_(true) {}  // NOLINT(google-explicit-constructor)
    Number(std::int16_t value) : whole_(value) {}           // NOLINT(google-explicit-constructor)
    Number(std::int32_t value) : whole_(value) {}           // NOLINT(google-explicit-constructor)
    Number(std::int64_t value) : whole_(value) {}           // NOLINT(google-explicit-constructor)

    double Real() const { return is_real_ ? real_ : static_cast<double>(whole_); }
    std::int64_t Whole() const { return is_real_ ? static_cast<std::int64_t>(real_) : whole_; }

private:
    double real_ = 0;
    std::int64_t whole_ = 0;
    bool is_real_ = false;
};

/// One conversion of a format: what stands between '%' and the letter, and the letter.
struct Conversion {
    int width = 0;       ///< at least this many characters, blanks in front
    int precision = -1;  ///< digits behind the point; -1: six
    bool is_half = false;
    char letter = 0;  ///< i, x, e or f
};

/// Takes the literal text up to the next conversion, and that conversion, off the front of
/// `*format`. The formats are this system's own: width, precision, h, l and i, d, x, e, f.
/// False: no conversion is left; `*literal` is the rest.
bool NextConversion(std::string_view* format, std::string_view* literal, Conversion* conversion);

/// Appends `format` to `*text`, each conversion replaced by the next of `values`.
/// Caller: as many values as conversions, none above 1e300 under 'f'.
void AppendFormatted(std::string_view format, std::span<const Number> values, std::string* text);
