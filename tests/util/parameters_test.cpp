// Parameter lookups: what matches, what is converted, what is left alone.

#include "util/parameters.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <vector>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(UtilParameters, TheSearchGoesOnPastAnEntryThatOnlySharesTheName) {
    const std::array<float, 16> sixteen{7};
    const float one = 3.5f;
    const int integer = -4;
    const std::vector<Parameter> list = {
        {nullptr, 'f', 1, &one, 4},           // no name
        {"NP", 's', 1, &one, 4},              // wrong type
        {"NP", 'f', 15, sixteen.data(), 60},  // wrong count
        {"NP", 'f', -1, sixteen.data(), 60},  // a count below 1
        {"NP", 'f', 16, nullptr, 64},         // no values
        {"NP", 'f', 16, sixteen.data(), 60},  // fewer bytes than the count needs
        {"np", 'f', 16, sixteen.data(), 64},  // other case
        {"NP", 'f', 16, sixteen.data(), 64},  // the one
        {"Depth", 'f', 2, sixteen.data(), 8},
        {"Depth", 'i', 1, &integer, 0},
        {"Depth", 'f', 1, &one, 4},
    };
    std::array<float, 16> matrix{};
    EXPECT_EQ(FindMatrix("NP", matrix, std::span(list).first(7)), ParameterStatus::kAbsent);
    EXPECT_EQ(matrix[0], 0.0f);
    EXPECT_EQ(FindMatrix("NP", matrix, list), ParameterStatus::kFound);
    EXPECT_EQ(matrix, sixteen);

    float depth = 0;
    EXPECT_EQ(FindFloat("Depth", &depth, list), ParameterStatus::kFound);
    EXPECT_EQ(depth, -4.0f);
}

TEST(UtilParameters, FloatsBecomeIntegersWithinTheirRange) {
    struct Row {
        float given;
        int wanted;
    };
    constexpr int kMost = std::numeric_limits<int>::max();
    constexpr int kLeast = std::numeric_limits<int>::min();
    for (const Row& row :
         {Row{2.9f, 2}, Row{-2.9f, -2}, Row{3e9f, kMost}, Row{-3e9f, kLeast}, Row{kInfinity, kMost},
          Row{-kInfinity, kLeast}, Row{std::numeric_limits<float>::quiet_NaN(), 0}}) {
        const std::array list = {Parameter{"Simplify", 'f', 1, &row.given, 4}};
        int got = 77;
        EXPECT_EQ(FindInteger("Simplify", &got, list), ParameterStatus::kFound);
        EXPECT_EQ(got, row.wanted) << row.given;
    }
}

TEST(UtilParameters, AnArrayIsCopiedAsFarAsBothSidesReach) {
    const std::array<int, 3> pixels = {640, 480, 5};
    const std::array list = {Parameter{"OriginalSize", 'i', 3, pixels.data(), 12}};
    std::array<float, 2> size = {-1, -1};
    int count = 2;
    EXPECT_EQ(FindFloats("OriginalSize", size, &count, list), ParameterStatus::kFound);
    EXPECT_EQ(size, (std::array<float, 2>{640, 480}));
    EXPECT_EQ(count, 2);

    const std::array single = {Parameter{"OriginalSize", 'i', 1, pixels.data() + 2, 4}};
    EXPECT_EQ(FindFloats("OriginalSize", size, &count, single), ParameterStatus::kFound);
    EXPECT_EQ(size, (std::array<float, 2>{5, 480}));
    EXPECT_EQ(count, 1);
}

}  // namespace
