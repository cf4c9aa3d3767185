// Variable declarations: component counts by prefix and suffix.

#include "ptc/format/variables.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PtcVariables, ComponentCountFollows) {
    const std::pair<const char*, int> cases[] = {
        {"float", 1},
        {"matrix[2]", 32},
        {"color[2]", 6},  // an array multiplies
        {"point3", 3},    // the prefix counts
        {"floaty[3]", 3},
        {"float[", 0},
        {"float[many]", 0},
        {"float[-2]", -2},
        {"normal[ \t+4x]", 12},
        {"vector[2][9]", 6},  // the first bracket
        {"matrix[99999999999999999999]", 2147483647},
        {"color[-2147483648]", -2147483647 - 1},
    };
    for (const auto& [type, components] : cases)
        EXPECT_EQ(KnownComponentCount(type), components) << type;
}

TEST(PtcUnknownVariables, AreToldOnceAndCountNothing) {
    for (const char* type : {"Float", "bogus[4]", "", "floa"}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(ComponentCount(type), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  std::string("Unknown type '") + type + "' !?\n");
    }
}

}  // namespace
