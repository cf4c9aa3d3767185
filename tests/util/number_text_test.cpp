// Numbers to text: the same characters as printf's, for any bits and in any locale.

#include "util/text/number_text.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <clocale>
#include <cstdio>
#include <random>

namespace {

template <class... Value>
void ExpectAsPrinted(const char* format, Value... values) {
    std::array<char, 512> printed;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wdouble-promotion"
    std::snprintf(printed.data(), printed.size(), format, values...);
#pragma GCC diagnostic pop
    std::string text;
    AppendFormatted(format, std::array{Number(values)...}, &text);
    ASSERT_EQ(text, printed.data());
}

TEST(UtilNumberText, NumbersAreWrittenAsPrintfWritesThem) {
    std::mt19937 random(1);
    for (int i = 0; i < 200'000; ++i)
        ExpectAsPrinted("%13e", std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    for (const double value : {0.0, -0.0, 1.0, 250000.0, 9007199254740993.0, 1e300, -5.0})
        ExpectAsPrinted("%16.0lf", value);
    for (const std::int64_t value : {INT64_C(0), INT64_C(-1), INT64_MIN, INT64_MAX})
        ExpectAsPrinted("%16li", value);
    for (const std::int32_t value : {0, 9, 0x81, 255}) ExpectAsPrinted("%2x %i", value, value);
    const std::int16_t negative = -1;
    ExpectAsPrinted("%e %e  %hi %hi  %e ", 1.0f, -2.5f, negative, std::int16_t{7}, 1e-20f);
}

TEST(UtilNumberText, TheHostsLocaleChangesNothing) {
    const char* const set = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    std::string text;
    AppendFormatted("%e", std::array{Number(1.5f)}, &text);
    EXPECT_EQ(text, "1.500000e+00") << (set ? "German" : "no such locale here");
    std::setlocale(LC_NUMERIC, "C");
}

}  // namespace
