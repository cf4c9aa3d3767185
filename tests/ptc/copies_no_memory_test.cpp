// Reading and writing many points when any allocation fails: what was done is known.

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "ptc/reader.h"
#include "ptc/writer.h"
#include "tests/support/clouds.h"
#include "tests/support/failing_new.h"
#include "tests/support/scratch.h"

namespace {

constexpr std::int64_t kCopiedPoints = 5000;
int copies_allocations_left = 0;

/// Calls while the allocation number `at` fails. True: it came to that.
template <class Call>
bool FailsInside(int at, Call call) {
    copies_allocations_left = at;
    new_fails = [] { return copies_allocations_left-- == 0; };
    call();
    new_fails = nullptr;
    return copies_allocations_left < 0;
}

TEST(CopiesWithoutMemory, AReaderGoesOnBehindWhatItAnsweredOrNotAtAll) {
    const ScratchFolder folder;
    const std::string name =
        WriteTo(folder.File("a.ptc"), BytesOf({kCopiedPoints, false, TokenForm::kText}));
    PtcReader whole(name.c_str());
    std::vector<float> expected(kCopiedPoints);
    ASSERT_EQ(whole.Read(kCopiedPoints, {.radii = expected.data()}), kCopiedPoints);
    bool has_failed = true;
    for (int at = 0; has_failed; ++at) {
        ASSERT_LT(at, 1000);
        PtcReader cloud(name.c_str());
        std::vector<float> radii(kCopiedPoints);
        std::int64_t done = 0;
        has_failed =
            FailsInside(at, [&] { done = cloud.Read(kCopiedPoints, {.radii = radii.data()}); });
        EXPECT_EQ(done < kCopiedPoints, has_failed);
        if (has_failed) {
            EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kNoMemory);
        }
        float next = 0;
        if (cloud.Read(1, {.radii = &next}) == 1) {
            EXPECT_EQ(next, expected[static_cast<std::size_t>(done)]) << at;
        }
        ASSERT_TRUE(cloud.Seek(done));
        EXPECT_EQ(cloud.Read(kCopiedPoints - done, {.radii = radii.data() + done}),
                  kCopiedPoints - done);
        EXPECT_EQ(radii, expected) << at;
    }
}

TEST(CopiesWithoutMemory, ABatchIsWrittenOnceOrTheCloudIsNotWhole) {
    const ScratchFolder folder;
    const std::string name = folder.File("a.ptc");
    ::setenv("LUMR_ASCIIPOINTCLOUD", "1", 1);
    const std::vector<float> vectors(3 * kCopiedPoints, 0.5f);
    const PtcPointsToWrite points{kCopiedPoints, vectors.data(), vectors.data(), nullptr, nullptr};
    bool has_failed = true;
    for (int at = 0; has_failed; at += 1 + at / 8) {
        PtcCloudWriter* const cloud = PtcCreateCloud({.name = name.c_str()});
        ASSERT_TRUE(cloud);
        bool is_written = false;
        has_failed = FailsInside(at, [&] { is_written = PtcWritePoints(cloud, points); });
        EXPECT_TRUE(is_written || has_failed);
        const bool is_written_now = is_written || PtcWritePoints(cloud, points);
        ASSERT_EQ(PtcFinishCloud(cloud), is_written_now) << at;
        if (!is_written_now) continue;
        PtcHeader header;
        ASSERT_TRUE(PtcReader(name.c_str()).GetHeader(&header));
        EXPECT_EQ(header.points, kCopiedPoints) << at;
    }
    ::unsetenv("LUMR_ASCIIPOINTCLOUD");
}

}  // namespace
