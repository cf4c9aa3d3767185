// The text form: every blank of it, and that it says what the binary form says.

#include <gtest/gtest.h>

#include "ptc/reader.h"
#include "tests/support/memory_source.h"
#include "tests/support/scratch.h"
#include "tests/support/small_cloud.h"

namespace {

TEST(PtcTextForm, IsTheGoldenFileByteForByte) {
    EXPECT_EQ(SmallCloud(TokenForm::kText), ContentOf("tests/golden/small_cloud.txt"))
        << "run from the repository root";
}

TEST(PtcTextForm, TheBlockKeepsItsLengthAtAnyCount) {
    const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud =
        CreateCloud({}, std::make_unique<FullDisk>(SIZE_MAX, bytes), TokenForm::kText, &why);
    ASSERT_TRUE(cloud) << why;
    const auto before = cloud->data_start;
    for (int i = 0; i < 250'001; ++i)
        ASSERT_EQ(WritePoint(*cloud, {{-1e-30f, 1e30f, 3}, {0, 0, 1}, 1e20f}, nullptr),
                  CloudStatus::kOk);
    ASSERT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    const auto read = OpenCloud(std::make_unique<MemorySource>(std::string(
                                    reinterpret_cast<const char*>(bytes->data()), bytes->size())),
                                "memory", &why);
    ASSERT_TRUE(read) << why;
    EXPECT_EQ(read->data_start, before);
    EXPECT_EQ(read->point_count, 250'001);
    EXPECT_EQ(SeekPoint(*read, 250'001), CloudStatus::kOk);
}

}  // namespace
