// ptc stats: what the walks count, and what a file that cannot be read leads to.

#include <regex>

#include "ptc/access.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "tests/tools/run_tool.h"
#include "tools/ptc/stats/cache_walks.h"

namespace {

/// Lookups and items read of one walk's line; -1 when there is none.
std::pair<int, int> CountsOf(const std::string& out, const std::string& walk) {
    const std::regex line("(^|\n)" + walk + R"( +(\d+) +[\d.]+ % +(\d+) )");
    std::smatch cells;
    if (!std::regex_search(out, cells, line)) return {-1, -1};
    return {std::stoi(cells[2]), std::stoi(cells[3])};
}

TEST(PtcStats, EachWalkCountsItsLookupsAndWhatItReads) {
    const ToolFolder folder;
    folder.Write("a.ptc", sound_cloud::Bytes({.points = 1000}));
    const ToolRun run = folder.Run("stats a.ptc --threads 3");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    // Four blocks, which all threads want at once: each is read at least once and at most thrice.
    const auto [lookups, items] = CountsOf(run.out, "sequential");
    EXPECT_EQ(lookups, 1000);
    EXPECT_GE(items, 1024);
    EXPECT_LE(items, 3 * 1024);
    EXPECT_EQ(CountsOf(run.out, "random"), std::pair(1000, 0));
    EXPECT_EQ(CountsOf(run.out, "coherent"), std::pair(1000, 0));
    const auto [groups, nodes] = CountsOf(run.out, "tree");
    EXPECT_EQ(groups, 6) << "the root, and the children of the root, for each thread";
    EXPECT_GE(nodes, 3);
    for (const char* walk :
         {"nearest-random", "nearest-coherent", "filtered-random", "filtered-coherent"})
        EXPECT_EQ(CountsOf(run.out, walk).first, 1000) << walk;
    EXPECT_NE(run.out.find("Point cloud caches"), std::string::npos);

    const ToolRun few = folder.Run("stats - <a.ptc --walk random --threads 1 --lookups 7 --xml");
    EXPECT_EQ(few.status, 0) << few.err;
    EXPECT_EQ(few.out.rfind("<?xml", 0), 0u);
    EXPECT_NE(few.out.find("Point cache lookups\">7<"), std::string::npos) << few.out;
}

TEST(PtcStats, ALimitEndsWalksThatWouldTakeForever) {
    const ScratchFolder folder;
    const InputFile file(WriteTo(folder.File("a.ptc"), sound_cloud::Bytes()));
    constexpr std::int64_t kForever = std::int64_t{1} << 60;
    for (const auto kind : {WalkKind::kSequential, WalkKind::kRandom}) {
        const WalkOutcome cut = Walk(file, kind, {2, kForever, std::chrono::milliseconds(1)});
        EXPECT_TRUE(cut.is_cut);
        EXPECT_EQ(cut.missing, "");
        const WalkOutcome whole = Walk(file, kind, {2, 10, std::chrono::hours(1)});
        EXPECT_FALSE(whole.is_cut);
        EXPECT_EQ(whole.lookups, 10) << "and the limit is not waited for";
    }
    PtcShutdown();
}

}  // namespace
