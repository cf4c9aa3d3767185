// The text form: every blank of it, and that it says what the binary form says.

#include <gtest/gtest.h>

#include "ptc/reader.h"
#include "tests/ptc/memory_cloud.h"
#include "tests/support/memory_source.h"
#include "tests/support/scratch.h"
#include "tests/support/small_cloud.h"

namespace {

TEST(PtcTextForm, IsTheGoldenFileByteForByte) {
    EXPECT_EQ(SmallCloud(TokenForm::kText), ContentOf("tests/golden/small_cloud.txt"))
        << "run from the repository root";
}

TEST(PtcTextForm, TheBlockKeepsItsLengthAtAnyCount) {
    MemoryCloud made({}, TokenForm::kText);
    const auto before = made.cloud->data_start;
    for (int i = 0; i < 250'001; ++i)
        ASSERT_EQ(WritePoint(*made.cloud, {{-1e-30f, 1e30f, 3}, {0, 0, 1}, 1e20f}, nullptr),
                  CloudStatus::kOk);
    ASSERT_EQ(FinishCloud(*made.cloud), CloudStatus::kOk);
    std::string why;
    const auto read = OpenCloud(std::make_unique<MemorySource>(made.Bytes()), "memory", &why);
    ASSERT_TRUE(read) << why;
    EXPECT_EQ(read->data_start, before);
    EXPECT_EQ(read->point_count, 250'001);
    EXPECT_EQ(SeekPoint(*read, 250'001), CloudStatus::kOk);
}

}  // namespace
