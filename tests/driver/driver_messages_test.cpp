// The driver's lines: which arguments they refuse to compile with, and what they print.

#include "driver/driver_messages.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

template <class Reason, class Count>
concept EndsAFile = requires(const Reason& reason, Count kept) {
    driver_messages::FileIsIncomplete("driver", "file", reason, kept);
};
static_assert(EndsAFile<SystemReason, std::int64_t>);
static_assert(!EndsAFile<SystemReason, double> && !EndsAFile<SystemReason, int>);
static_assert(!EndsAFile<const char*, std::int64_t>);

template <class Type>
concept IsAType = requires(const Type& type) {
    driver_messages::SizeIsImpossible("driver", type);
};
static_assert(IsAType<std::string> && !IsAType<int>);

TEST(DriverMessages, HoldTheirArguments) {
    testing::internal::CaptureStderr();
    driver_messages::SizeIsImpossible("d", "a\n");
    driver_messages::FileCannotBeCreated("d", "a\n", "why");
    driver_messages::FileIsIncomplete("d", "a\n", SystemReason(ENOSPC), std::int64_t{1} << 40);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "d:  variable of type 'a\\n' has an impossible size\n"
              "d:  cannot create 'a\\n': why\n"
              "d:  cannot write all of 'a\\n': No space left on device; 1099511627776 points are "
              "kept\n");
}

}  // namespace
