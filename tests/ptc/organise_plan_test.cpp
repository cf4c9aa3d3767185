// That what organising holds at a time fits the memory it was given.

#include "ptc/organise/organise_plan.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

namespace {

TEST(PtcOrganisePlan, FitsTheMemoryForPointsOfAnySize) {
    constexpr std::size_t kLeaf = 128;
    constexpr OrganisePlan::Wish kAll{INT64_MAX, INT_MAX, kLeaf, false};
    EXPECT_LE(OrganisePlan(kAll, 0).threads, 1000) << "a memory without limit is not there";
    for (std::size_t memory = std::size_t{16} << 20; memory <= std::size_t{8} << 30; memory *= 2)
        for (std::size_t floats = 0; floats <= std::size_t{1} << 24; floats = 3 * floats + 1) {
            SCOPED_TRACE(testing::Message() << memory << " bytes, " << floats << " floats");
            const OrganisePlan plan({static_cast<std::int64_t>(memory), 64, kLeaf, true}, floats);
            const std::size_t record = ptc_layout::PointBytes(floats);
            const std::size_t octants = (std::size_t{1} << (3 * plan.levels)) + 1;
            // Of the largest points a few are more than all memory.
            const std::size_t few = (2 * kLeaf + 2) * record;
            EXPECT_LE(octants * plan.chunk_points * record, std::max(memory / 3, few));
            EXPECT_LE(plan.batch_points * record, std::max(memory / 4 * 3, few));
            EXPECT_LE(static_cast<std::size_t>(plan.threads) * plan.slice_points * record,
                      std::max(memory / 8, record));
            EXPECT_GE(plan.levels, 1);
            EXPECT_GE(plan.threads, 1);
        }
}

}  // namespace
