// Intake: what a handle keeps of the batches that it took.

#include <gtest/gtest.h>

#include <cmath>
#include <span>

#include "driver/image.h"
#include "tests/support/host_lists.h"
#include "tests/support/scratch.h"

namespace {

TEST(DriverIntake, AHandleKeepsTheCountAndTheBoxOfWhatItAccepted) {
    const ScratchFolder folder;
    const std::string file = folder.File("a.ptc");
    // The second sample is not one of the three by which a copy is recognised.
    std::vector<PointHead> grid = {{{-1, 2, 0.5f}, {}, 0.1f},
                                   {{NAN, 4, NAN}, {}, 0.1f},
                                   {{3, -0.25f, 1}, {}, -1},
                                   {{0, 0, -7}, {}, 0}};
    const Batch batch = {std::as_bytes(std::span(grid)).data(), grid.size(), Batch::kHeadFloats};
    for (const int simplifies : {0, 1}) {
        const int yes = 1;
        const Parameter parameters[] = {{"Simplify", 'i', 1, &simplifies, 4},
                                        {"EliminateDuplicateGrids", 'i', 1, &yes, 4}};
        HostChannels channels({"a|color _radiosity", "a|float _area"});
        PointCloudImage* opened = nullptr;
        ASSERT_FALSE(Failed(
            OpenImage({"test", file.c_str(), parameters, std::span(channels.List())}, &opened)));
        std::unique_ptr<PointCloudImage> image(opened);
        for (int times = 0; times < 2; ++times) EXPECT_FALSE(Failed(TakeBatch(*image, batch)));

        EXPECT_EQ(image->variable_count, 2);
        EXPECT_EQ(image->variable_sizes, (std::vector<std::int32_t>{3, 1}));
        EXPECT_EQ(image->accepted_samples, 4) << "the second batch is a copy";
        EXPECT_EQ(image->accepted_positions.min, (std::array<float, 3>{-1, -0.25f, -7}));
        EXPECT_EQ(image->accepted_positions.max, (std::array<float, 3>{3, 4, 1}));
        CloseImage(std::move(image));
    }
}

}  // namespace
