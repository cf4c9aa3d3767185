// What comes twice and what does not, in which order, and that threads leave no trace.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/tools/bake/host.h"
#include "tools/bake/delivery.h"

namespace {

using bake::Camera;
using bake::kBucketPixels;
using bake::RasterBox;

/// The buckets that the discs of a grid touch, computed from what the driver was given: the
/// matrix's elements and the picture's size.
std::set<std::pair<int, int>> BucketsTouched(const RecordedGrid& grid, const Recording& recording) {
    const std::vector<float> m = Floats(recording.parameters.at("NP"));
    const std::vector<float> size = Floats(recording.parameters.at("OriginalSize"));
    RasterBox box = {1e9f, 1e9f, -1e9f, -1e9f};
    for (const Sample& s : grid.samples) {
        const float w = s.position.z * m[11] + m[15];
        const float x = (1 + s.position.x * m[0] / w) * (size[0] / 2);
        const float y = (1 - s.position.y * m[5] / w) * (size[1] / 2);
        const float r = s.radius * m[0] / w * (size[0] / 2);
        box = {std::min(box.x0, x - r), std::min(box.y0, y - r), std::max(box.x1, x + r),
               std::max(box.y1, y + r)};
    }
    std::set<std::pair<int, int>> buckets;  // (row, column): in the order of a render
    for (int row = int(box.y0) / kBucketPixels; row <= int(box.y1) / kBucketPixels; ++row)
        for (int column = int(box.x0) / kBucketPixels; column <= int(box.x1) / kBucketPixels;
             ++column)
            buckets.emplace(row, column);
    return buckets;
}

TEST(Delivery, RepeatsBitByBitWhatStraddlesABucketAndNothingElse) {
    for (const char* scene : {"--density 60", "--density 60 --particles 300 --size 320x200"}) {
        const Recording recording = Record(scene);
        std::map<std::string, int> times;
        for (const RecordedGrid& grid : recording.grids) ++times[grid.line];
        std::set<int> seen;
        for (const RecordedGrid& grid : recording.grids) {
            const std::size_t buckets = BucketsTouched(grid, recording).size();
            EXPECT_EQ(times[grid.line], buckets > 1 ? 2 : 1) << grid.line.substr(0, 80);
            seen.insert(times[grid.line]);
        }
        EXPECT_EQ(seen, (std::set<int>{1, 2})) << "the scene must have both kinds";
    }
}

TEST(Delivery, FollowsTheBucketsRowByRow) {
    const Recording recording = Record("--density 60");
    std::map<std::string, int> times;
    std::pair<int, int> now = {0, 0};
    for (const RecordedGrid& grid : recording.grids) {
        const auto buckets = BucketsTouched(grid, recording);
        const auto due = times[grid.line]++ == 0 ? buckets.begin() : std::next(buckets.begin());
        EXPECT_GE(*due, now);
        now = *due;
    }
}

TEST(Delivery, SpecksOfDustAreBatchesOfOneAndSomeComeTwice) {
    const Recording without = Record("");
    const Recording with = Record("--particles 2000");
    std::map<std::string, int> specks;
    for (const RecordedGrid& grid : with.grids)
        if (grid.samples.size() == 1) ++specks[grid.line];
    std::size_t deliveries = 0;
    for (const auto& [line, times] : specks) deliveries += static_cast<std::size_t>(times);
    EXPECT_EQ(specks.size(), 2000u);
    EXPECT_GT(deliveries, 2020u);
    EXPECT_EQ(with.grids.size(), without.grids.size() + deliveries);
}

TEST(Delivery, ThreadsLeaveNoTrace) {
    // More samples than one window holds, so that windows end elsewhere for other thread counts.
    const std::string bake = "--density 64 --rays 3 --particles 500 --threads ";
    const std::string file = ScratchFile("threads");
    std::set<std::string> recordings;
    for (const char* threads : {"1", "4", "4"}) {
        ASSERT_EQ(RunRecorded(file, bake + threads).status, 0);
        recordings.insert(ReadFile(file));
    }
    EXPECT_EQ(recordings.size(), 1u);
    EXPECT_GT(recordings.begin()->size(), 1000000u);
    std::remove(file.c_str());
}

}  // namespace
