// Variable declarations: component counts by prefix and suffix.

#include "ptc/format/variables.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct CountCase {
    std::string_view name;  // becomes the test's name
    std::string_view type;
    int components;
};

class PtcVariables : public testing::TestWithParam<CountCase> {};

TEST_P(PtcVariables, ComponentCountFollows) {
    EXPECT_EQ(KnownComponentCount(GetParam().type), GetParam().components);
}

INSTANTIATE_TEST_SUITE_P(
    Declarations, PtcVariables,
    testing::Values(
        CountCase{"OneFloat", "float", 1}, CountCase{"Matrix", "matrix[2]", 32},
        CountCase{"ArrayMultiplies", "color[2]", 6}, CountCase{"PrefixCounts", "point3", 3},
        CountCase{"PrefixWithSuffix", "floaty[3]", 3}, CountCase{"EmptyBracketIsZero", "float[", 0},
        CountCase{"WordsInBracketAreZero", "float[many]", 0},
        CountCase{"SignIsKept", "float[-2]", -2}, CountCase{"BlanksAndPlus", "normal[ \t+4x]", 12},
        CountCase{"FirstBracketCounts", "vector[2][9]", 6},
        CountCase{"HugeStaysAtTheLimit", "matrix[99999999999999999999]", 2147483647},
        CountCase{"HugeNegativeToo", "color[-2147483648]", -2147483647 - 1}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(PtcUnknownVariables, AreToldOnceAndCountNothing) {
    for (const char* type : {"Float", "bogus[4]", "", "floa"}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(ComponentCount(type), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  std::string("Unknown type '") + type + "' !?\n");
    }
}

}  // namespace
