// The driver's error line: layout, hostile module names, the cut.

#include <gtest/gtest.h>

#include <string>

#include "util/message.h"

namespace {

template <class... Arguments>
std::string Printed(const char* module, const char* format, Arguments... arguments) {
    testing::internal::CaptureStderr();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    DriverError(module, format, arguments...);
#pragma GCC diagnostic pop
    return testing::internal::GetCapturedStderr();
}

TEST(UtilDriverError, ModuleIsTextAndNullSilences) {
    EXPECT_EQ(Printed("ptc", "no %s\n", "room"), "ptc:  no room\n");
    EXPECT_EQ(Printed("50%s%n%", "%d", 7), "50%s%n%:  7");
    EXPECT_EQ(Printed(nullptr, "no %s\n", "room"), "");
}

TEST(UtilDriverError, TheCutNeverLeavesHalfAConversion) {
    // The module pushes the conversion over the edge byte by byte.
    for (std::size_t length = 245; length < 260; ++length) {
        const std::string module(length, 'm');
        const std::string printed = Printed(module.c_str(), "%-3ld|", 5L);
        const std::string whole = module + ":  5  |";
        const std::string kept = whole.substr(0, std::min<std::size_t>(255, length + 3));
        EXPECT_EQ(printed, length + 3 + 6 <= 255   ? whole
                           : length + 3 + 5 <= 255 ? whole.substr(0, whole.size() - 1)
                                                   : kept);
    }
    const std::string percents(200, '%');  // doubled inside: 400 bytes, cut at 255, 127 whole
    EXPECT_EQ(Printed(percents.c_str(), "%d", 1), std::string(127, '%'));
}

}  // namespace
