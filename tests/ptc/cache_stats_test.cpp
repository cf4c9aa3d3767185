// The section "pointclouds": its members, and the reports made of it.

#include "ptc/cache/cache_stats.h"

#include <gtest/gtest.h>

#include <sstream>

#include "ptc/cache/cache_report.h"
#include "tests/support/recorded_stats.h"

namespace {

/// The first line of each member, in order: kind, name and description.
constexpr const char* kMembers[] = {
    "memory name=pointCloudMem description=Point cloud memory",
    "memory name=pointOctreeMem description=Point octree memory",
    "int name=nReadPoints description=Points read",
    "int name=nPointCacheLookups description=Point cache lookups",
    "int name=nPointCacheHits description=Point cache hits",
    "int name=nPointCacheMisses description=Point cache misses",
    "int name=nPointCacheElems description=Point cache num slots",
    "memory name=pointCacheActualMem description=Point cache memory",
    "int name=nReadNodes description=Octree nodes read",
    "int name=nNodeCacheLookups description=Octree node cache lookups",
    "int name=nNodeCacheHits description=Octree node cache hits",
    "int name=nNodeCacheMisses description=Octree node cache misses",
    "int name=nNodeCacheElems description=Octree node cache num slots",
    "memory name=nodeCacheActualMem description=Octree node cache memory",
    "timer name=texture3DPointcloudTime description=Total pointcloud texture3d()",
    "timer name=getpointsTime description=Total getpoints()",
    "timer name=subsurfaceTime description=Total subsurface()",
    "timer name=occlusionTime description=Total point-based occlusion()",
    "timer name=indirectdiffuseTime description=Total point-based indirectdiffuse()",
    "timer name=cacheReadTime description=Point/node cache read time",
    "timer name=fileReadTime description=Pointcloud file read time",
    "timer name=buildOctreesTime description=Octrees building time",
    "timer name=traverseOctreesTime description=Octrees traversal time",
    "timer name=rasterizeTime description=Point-based rasterization time",
};

TEST(PtcCacheStats, WritesItsMembersInTheirOrder) {
    std::istringstream written(Recorded(PtcCacheStats()));
    std::string line;
    std::getline(written, line);
    EXPECT_EQ(
        line,
        "stats name=pointclouds description=Point-based calc. and cache stats kind=section {");
    std::size_t member = 0;
    while (std::getline(written, line)) {
        if (line.find(" name=") == std::string::npos) continue;
        ASSERT_LT(member, std::size(kMembers)) << line;
        EXPECT_EQ(line.substr(0, line.find_last_of(":{") - 1), kMembers[member++]);
    }
    EXPECT_EQ(member, std::size(kMembers));
}

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
    EXPECT_EQ(CacheReportTable(stats),
              "Point cloud caches        points           nodes\n"
              "  slots                     6296           68984\n"
              "  lookups            12345678901               0\n"
              "  hits               12300000000               0\n"
              "  misses                45678901               0\n"
              "  uncached                     0               0\n"
              "  hit rate               99.63 %               -\n"
              "  items read         11693798656               0\n"
              "  memory                18.50 MB         0.00 MB\n"
              "  memory, peak          20.00 MB         0.00 MB\n"
              "  read time               0.00 s\n");
    const std::string xml = CacheReportXml(stats);
    EXPECT_NE(xml.find("<int name=\"nPointCacheLookups\" description=\"Point cache lookups\">"
                       "12345678901</int>"),
              std::string::npos)
        << xml;
    EXPECT_EQ(xml.substr(0, 5), "<?xml");
}

}  // namespace
