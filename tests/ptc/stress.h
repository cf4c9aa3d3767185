// What the stresses of the caches and of the library share: answers that are wrong and records
// that cannot be read are counted, and the caches must have kept their promises in the end.

#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <string_view>

#include "ptc/cache/cache_set.h"
#include "tests/support/together.h"
#include "util/host/message.h"

class Stress : public testing::Test {
protected:
    static constexpr int kThreads = 8;

    Stress() {
        told_ = 0;
        MsgSetHandler(
            [](int, int, const char* text) {
                const std::string_view told = text;
                told_ += told.starts_with("T43051") || told.starts_with("T43052");
                return 0;
            },
            0);
    }
    ~Stress() override { MsgSetHandler(nullptr, 0); }

    void Note(bool is_right) {
        if (!is_right) ++wrong_;
    }

    /// `*total`: the figures of all threads.
    void ExpectSound(PtcCacheStats* total) const {
        EXPECT_EQ(wrong_, 0);
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
        ASSERT_TRUE(MergeCacheStats(total));
        for (const PtcCacheFigures* figures : {&total->points, &total->nodes})
            EXPECT_EQ(figures->lookups.Value(), figures->hits.Value() + figures->misses.Value());
    }

    inline static std::atomic<std::int64_t> told_;  ///< messages that a record cannot be read
    std::atomic<int> wrong_{0};
};
