// Parameter lookups: what matches, what is converted, what is left alone.

#include "util/host/parameters.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <vector>

namespace {

TEST(UtilParameters, TheSearchGoesOnPastAnEntryThatOnlySharesTheName) {
    const std::array<float, 16> sixteen{7};
    const std::vector<Parameter> list = {
        {nullptr, 'f', 16, &sixteen, 64},  // no name
        {"NP", 's', 16, &sixteen, 64},     // wrong type
        {"NP", 'f', 15, &sixteen, 60},     // wrong count
        {"NP", 'f', 16, nullptr, 64},      // no values
        {"NP", 'f', 16, &sixteen, 60},     // fewer bytes than the count needs
        {"np", 'f', 16, &sixteen, 64},     // other case
        {"NP", 'f', 16, &sixteen, 0},      // the one
    };
    std::array<float, 16> matrix{};
    EXPECT_EQ(FindMatrix("NP", matrix, std::span(list).first(6)), ParameterStatus::kAbsent);
    EXPECT_EQ(matrix[0], 0.0f);
    EXPECT_EQ(FindMatrix("NP", matrix, list), ParameterStatus::kFound);
    EXPECT_EQ(matrix, sixteen);
}

TEST(UtilParameters, ValuesAreConvertedWithinTheirRangeAndCopiedAsFarAsBothSidesReach) {
    const std::pair<float, int> rows[] = {
        {2.9f, 2}, {-2.9f, -2}, {3e9f, INT_MAX}, {-HUGE_VALF, INT_MIN}, {std::nanf(""), 0}};
    for (const auto& [given, wanted] : rows) {
        int got = 77;
        EXPECT_EQ(FindInteger("N", &got, std::array{Parameter{"N", 'f', 1, &given, 4}}),
                  ParameterStatus::kFound);
        EXPECT_EQ(got, wanted) << given;
    }
    const std::array<int, 3> pixels = {-640, 480, 5};
    std::array<float, 2> size = {-1, -1};
    for (const int count : {-1, 1, 3}) {
        const auto given = static_cast<signed char>(count);
        const std::array list = {Parameter{"Size", 'i', given, &pixels, 12}};
        int copied = 0;
        EXPECT_EQ(FindFloats("Size", size, &copied, list) == ParameterStatus::kFound, count > 0);
        EXPECT_EQ(copied, count < 0 ? 0 : count < 2 ? 1 : 2);
        EXPECT_EQ(size[0], count > 0 ? -640 : -1);
        EXPECT_EQ(size[1], count > 1 ? 480 : -1);
    }
}

}  // namespace
