// What comes twice and what does not, in which order, and that threads leave no trace.

#include <map>

#include "tests/tools/bake/recording.h"
#include "tools/bake/delivery.h"

namespace {

using bake::kBucketPixels;

/// The buckets that the discs of a grid touch, (row, column) in the order of a render, computed
/// from what the driver was given: the matrix's elements and the picture's size.
std::set<std::pair<int, int>> BucketsTouched(const RecordedGrid& grid, const std::vector<float>& m,
                                             const std::vector<float>& size) {
    scene::RasterBox box = {1e9f, 1e9f, -1e9f, -1e9f};
    for (const Sample& s : grid.samples) {
        const float w = s.position.z * m[11] + m[15];
        const float x = (1 + s.position.x * m[0] / w) * (size[0] / 2);
        const float y = (1 - s.position.y * m[5] / w) * (size[1] / 2);
        const float r = s.radius * m[0] / w * (size[0] / 2);
        box = {std::min(box.x0, x - r), std::min(box.y0, y - r), std::max(box.x1, x + r),
               std::max(box.y1, y + r)};
    }
    std::set<std::pair<int, int>> buckets;
    for (int row = int(box.y0) / kBucketPixels; row <= int(box.y1) / kBucketPixels; ++row)
        for (int column = int(box.x0) / kBucketPixels; column <= int(box.x1) / kBucketPixels;
             ++column)
            buckets.emplace(row, column);
    return buckets;
}

TEST(Delivery, WhatStraddlesABucketComesTwiceRowByRowAndNothingElseDoes) {
    for (const char* scene : {"--density 60", "--density 60 --particles 2000 --size 320x200"}) {
        const Recording recording = Record(scene);
        const auto matrix = recording.Floats("NP"), size = recording.Floats("OriginalSize");
        std::map<std::string, int> times;
        std::set<std::string> is_straddling, specks;
        std::pair<int, int> now = {0, 0};
        for (const RecordedGrid& grid : recording.grids) {
            const auto buckets = BucketsTouched(grid, matrix, size);
            const auto due = times[grid.bytes]++ == 0 ? buckets.begin() : ++buckets.begin();
            ASSERT_NE(due, buckets.end()) << "a grid within one bucket came twice";
            EXPECT_GE(*due, now);
            now = *due;
            if (buckets.size() > 1) is_straddling.insert(grid.bytes);
            if (grid.samples.size() == 1) specks.insert(grid.bytes);
        }
        for (const auto& [bytes, count] : times) EXPECT_EQ(count, 1 + is_straddling.count(bytes));
        EXPECT_GT(is_straddling.size(), 20u);
        EXPECT_EQ(specks.size(), size[0] == 320 ? 2000u : 0u) << "dust comes in batches of one";
    }
}

TEST(Delivery, ThreadsLeaveNoTrace) {
    // More samples than one window holds, so that windows end elsewhere for other thread counts.
    const ToolFolder folder;
    std::set<std::string> recordings;
    for (const char* threads : {"1", "4", "4"}) {
        const std::string bake = "--density 64 --rays 3 --particles 500 --threads ";
        ASSERT_EQ(Bake(folder, "a", bake + threads).status, 0);
        recordings.insert(folder.Content("a"));
    }
    EXPECT_EQ(recordings.size(), 1u);
    EXPECT_GT(recordings.begin()->size(), 1000000u);
}

}  // namespace
