// The section "pointclouds": its members, and the reports made of it.

#include "ptc/cache/cache_stats.h"

#include <gtest/gtest.h>

#include "ptc/cache/cache_report.h"
#include "tests/support/golden.h"

namespace {

TEST(PtcCacheStats, ChargedMemoryKeepsItsPeakAndSurvivesAReset) {
    PtcChargedMemory memory("m", "M");
    const auto expect = [&](std::int64_t current, std::int64_t peak) {
        memory.update();
        EXPECT_EQ(memory.Current(), current);
        EXPECT_EQ(memory.Peak(), peak);
    };
    memory.Charge(100);
    memory.Charge(-60);
    expect(40, 100);
    memory.reset();
    expect(40, 40);
    memory.Charge(-40);
    expect(0, 40);
}

TEST(PtcCacheReport, IsATableForPeopleAndXmlForPrograms) {
    PtcCacheStats stats;
    stats.points.slots.Set(6296);
    stats.points.lookups.Set(12'345'678'901);
    stats.points.hits.Set(12'300'000'000);
    stats.points.misses.Set(45'678'901);
    stats.points.read.Set(45'678'901 * 256ul);
    stats.points.memory.Charge(20 << 20);
    stats.points.memory.Charge(-(3 << 19));
    stats.points.memory.update();
    stats.nodes.slots.Set(68984);
    stats.nodes.lookups.Set(3);
    stats.nodes.hits.Set(2);
    stats.nodes.misses.Set(1);
    stats.cache_read_time.Add(1'500'000'000);
    ExpectGolden("cache_report.txt", CacheReportTable(stats));
    ExpectGolden("cache_report.xml", CacheReportXml(stats));
}

}  // namespace
