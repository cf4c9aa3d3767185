// Messages about clouds: what each prints, and which arguments it refuses to compile with.

#include "ptc/cloud/cloud_messages.h"

#include <gtest/gtest.h>

#include <concepts>

namespace {

template <class Argument>
concept NamesAFile = std::invocable<decltype(cloud_messages::OctreeIsCompressed), Argument> ||
    std::invocable<decltype(cloud_messages::PointsAreUnreadable), Argument> ||
    std::invocable<decltype(cloud_messages::NodesAreUnreadable), Argument>;
static_assert(NamesAFile<const char*> && NamesAFile<std::string>);
static_assert(!NamesAFile<int> && !NamesAFile<double> && !NamesAFile<const void*>);
static_assert(!std::invocable<decltype(cloud_messages::NodesAreUnreadable), std::string>);

/// The catalogue's conversions are those that the function has arguments for.
TEST(PtcCloudMessages, ArePrintedAsTheCatalogueSays) {
    testing::internal::CaptureStderr();
    cloud_messages::OctreeIsCompressed("a%s");
    cloud_messages::PointsAreUnreadable("a%s");
    cloud_messages::NodesAreUnreadable(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "T43050 Organized point cloud file 'a%s' is gzipped; will be treated as unorganized."
              " (WARNING)\n"
              "T43051 Point cloud file 'a%s' has unreadable points.\n"
              "T43052 Organized point cloud file '<nofile>' has unreadable tree nodes.\n");
}

}  // namespace
