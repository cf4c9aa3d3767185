// Numbers to text: the same characters as printf's, for any bits and in any locale.

#include "util/number_text.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <clocale>
#include <cstdio>
#include <random>

namespace {

template <class... Value>
std::string Formatted(const char* format, Value... value) {
    std::string text;
    AppendFormatted(format, std::array{Number(value)...}, &text);
    return text;
}

template <class... Value>
std::string Printed(const char* format, Value... value) {
    std::array<char, 512> text;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::snprintf(text.data(), text.size(), format, value...);
#pragma GCC diagnostic pop
    return text.data();
}

TEST(UtilNumberText, RealsAreWrittenAsPrintfWritesThem) {
    std::mt19937 random(1);
    for (int i = 0; i < 200'000; ++i) {
        const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        ASSERT_EQ(Formatted("%13e", value), Printed("%13e", static_cast<double>(value)))
            << std::bit_cast<std::uint32_t>(value);
    }
    for (const double value : {0.0, -0.0, 1.0, 250000.0, 9007199254740993.0, 1e300, -5.0})
        EXPECT_EQ(Formatted("%16.0lf", value), Printed("%16.0lf", value));
}

TEST(UtilNumberText, WholeNumbersAreWrittenAsPrintfWritesThem) {
    for (const std::int64_t value : {INT64_C(0), INT64_C(-1), INT64_MIN, INT64_MAX})
        EXPECT_EQ(Formatted("%16li", value), Printed("%16li", value));
    for (const std::int32_t value : {0, 9, 0x81, 255}) {
        EXPECT_EQ(Formatted("%2x", value), Printed("%2x", value));
        EXPECT_EQ(Formatted("%i", value), Printed("%i", value));
    }
    EXPECT_EQ(Formatted("%e %e %e  %hi %hi  %e ", 1.0f, -2.5f, 0.0f, std::int16_t{-1},
                        std::int16_t{7}, 1e-20f),
              Printed("%e %e %e  %hi %hi  %e ", 1.0, -2.5, 0.0, -1, 7, double{1e-20f}));
}

TEST(UtilNumberText, TheHostsLocaleChangesNothing) {
    const char* const set = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    EXPECT_EQ(Formatted("%e", 1.5f), "1.500000e+00") << (set ? "German" : "no such locale here");
    std::setlocale(LC_NUMERIC, "C");
}

}  // namespace
