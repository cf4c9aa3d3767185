// Formats numbers with std::to_chars, which knows no locale. Given a precision, it rounds the exact
// value correctly, as the C library's printf does, so both give the same digits.

#include "util/text/number_text.h"

#include <array>
#include <charconv>

#include "util/base/ascii.h"

namespace {

constexpr int kDefaultPrecision = 6;

/// Room for the longest text of a double: 309 digits before the point and some behind it.
using Scratch = std::array<char, 384>;

int TakeDigits(std::string_view* format) {
    int value = 0;
    while (!format->empty() && IsAsciiDigit(format->front())) {
        value = value * 10 + (format->front() - '0');
        format->remove_prefix(1);
    }
    return value;
}

void AppendConverted(const Conversion& conversion, Number value, std::string* text) {
    Scratch scratch;
    char* const first = scratch.data();
    char* const last = first + scratch.size();
    const int precision = conversion.precision < 0 ? kDefaultPrecision : conversion.precision;

    std::to_chars_result end{};
    if (conversion.letter == 'e') {
        end = std::to_chars(first, last, value.Real(), std::chars_format::scientific, precision);
    } else if (conversion.letter == 'f') {
        end = std::to_chars(first, last, value.Real(), std::chars_format::fixed, precision);
    } else if (conversion.letter == 'x') {
        end = std::to_chars(first, last, static_cast<std::uint32_t>(value.Whole()), 16);
    } else {
        end = std::to_chars(first, last, value.Whole());
    }
    const auto length = static_cast<std::size_t>(end.ptr - first);
    const auto width = static_cast<std::size_t>(conversion.width);
    if (length < width) text->append(width - length, ' ');
    text->append(first, length);
}

}  // namespace

bool NextConversion(std::string_view* format, std::string_view* literal, Conversion* conversion) {
    const std::size_t at = format->find('%');
    *literal = format->substr(0, at);
    if (at == std::string_view::npos) return false;
    format->remove_prefix(at + 1);

    *conversion = Conversion{};
    conversion->width = TakeDigits(format);
    if (!format->empty() && format->front() == '.') {
        format->remove_prefix(1);
        conversion->precision = TakeDigits(format);
    }
    while (!format->empty() && (format->front() == 'h' || format->front() == 'l')) {
        conversion->is_half = format->front() == 'h';
        format->remove_prefix(1);
    }
    if (format->empty()) return false;
    conversion->letter = format->front();
    format->remove_prefix(1);
    return true;
}

void AppendFormatted(std::string_view format, std::span<const Number> values, std::string* text) {
    std::string_view literal;
    Conversion conversion;
    std::size_t next = 0;
    while (NextConversion(&format, &literal, &conversion) && next < values.size()) {
        text->append(literal);
        AppendConverted(conversion, values[next++], text);
    }
    text->append(literal);
}
