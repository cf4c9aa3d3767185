// The driver's error line: layout, hostile module names, the cut.

#include <gtest/gtest.h>

#include <string>

#include "util/host/message.h"

namespace {

TEST(UtilDriverError, ModuleIsTextNullSilencesAndTheCutNeverLeavesHalfAConversion) {
    const auto printed = [](const char* module) {
        testing::internal::CaptureStderr();
        DriverError(module, "%-3ld|", 5L);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(printed("50%s%n%"), "50%s%n%:  5  |");
    EXPECT_EQ(printed(nullptr), "");
    EXPECT_EQ(printed(std::string(200, '%').c_str()), std::string(127, '%'));  // doubled inside
    // The module pushes the conversion over the edge byte by byte.
    for (std::size_t length = 245; length < 260; ++length) {
        const std::string whole = std::string(length, 'm') + ":  5  |";
        const std::size_t of_format = length + 3 < 255 ? 255 - (length + 3) : 0;
        const std::size_t lost = of_format >= 6 ? 0 : of_format == 5 ? 1 : 4;
        EXPECT_EQ(printed(std::string(length, 'm').c_str()),
                  whole.substr(0, std::min<std::size_t>(255, whole.size() - lost)));
    }
}

}  // namespace
