// Formats numbers as printf does in the "C" locale, to the byte, whatever the host's locale is.
//
// Units      widths and precisions in characters.
// Errors     none, except that std::bad_alloc passes through.
// Ownership  texts belong to the caller.
// Threads    any.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// One argument of a format: an integer or a floating-point number.
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

/// One conversion of a format.
struct Conversion {
    int width = 0;         ///< least number of characters; blanks in front make up for fewer
    int precision = -1;    ///< digits behind the point; -1: the format names none, which means 6
    bool is_half = false;  ///< has an h
    char letter = 0;       ///< i, d, x, e or f
};

/// Removes the text before the next conversion, and that conversion, from the front of `*format`.
/// Knows what this system's own formats use: width, precision, h, l and i, d, x, e, f.
/// False: no conversion is left, and `*literal` is the rest of the text.
bool NextConversion(std::string_view* format, std::string_view* literal, Conversion* conversion);

/// Appends `format` to `*text`, with each conversion replaced by the next of `values`.
/// Caller: there are as many values as conversions, and none above 1e300 for 'f'.
void AppendFormatted(std::string_view format, std::span<const Number> values, std::string* text);
