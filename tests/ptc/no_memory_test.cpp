// The caches when malloc and calloc fail: no block is lost, and what is charged stays true.

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "ptc/cache/thread_cache.h"
#include "tests/ptc/fake_source.h"
#include "tests/util/message_recorder.h"

namespace {

constexpr int kPlentyOfMemory = 1 << 30;
int allocations_left = kPlentyOfMemory;

}  // namespace

// The linker sends the program's own calls here: see --wrap in CMakeLists.txt.
extern "C" {
void* __real_malloc(std::size_t bytes);
void* __real_calloc(std::size_t count, std::size_t bytes);

void* __wrap_malloc(std::size_t bytes) {
    return allocations_left-- > 0 ? __real_malloc(bytes) : nullptr;
}
void* __wrap_calloc(std::size_t count, std::size_t bytes) {
    return allocations_left-- > 0 ? __real_calloc(count, bytes) : nullptr;
}
}

namespace {

using PtcNoMemory = MessageRecorder;

bool IsRight(const PtcPointCache&, const FakeSource& file, const PtcCacheBlock& block) {
    return file.IsPoint(block.Points()[0], block.Index()) &&
           file.IsPoint(block.Points()[255], block.Index() + 255);
}
bool IsRight(const PtcNodeCache&, const FakeSource& file, const PtcCacheBlock& block) {
    return file.AreChildren(block.Nodes(), block.Index());
}

/// Gets `count` blocks, all held at once, and gives them back. False: one of them is wrong.
template <class Cache>
bool UseBlocks(Cache& cache, FakeSource& file, int count, PtcCacheStats& stats) {
    std::vector<PtcCacheBlock*> held;
    bool are_right = true;
    for (std::int64_t index = 0; index < 256 * count; index += 256) {
        std::int64_t children[kNodeChildren];
        FakeSource::ChildrenOf(index, children);
        PtcCacheBlock* const block = cache.Get({file, index, children}, stats);
        if (block) held.push_back(block);
        are_right = are_right && block && IsRight(cache, file, *block);
    }
    for (PtcCacheBlock* block : held) cache.Release(*block);
    return are_right;
}

/// Lets each allocation of one reading fail in turn; answers how many there are.
template <class Cache>
int FailEach(bool are_used) {
    constexpr int kBlocks = 2;
    for (int at = 0;; ++at) {
        SCOPED_TRACE(testing::Message() << "used " << are_used << ", allocation " << at);
        PtcCacheStats charged;
        PtcCacheStats counts;
        FakeSource small(1, {1000, 2, 2});
        FakeSource large(2, {1000, 5, 5}, "large");
        bool was_right;
        {
            Cache cache(kBlocks, charged);
            EXPECT_TRUE(!are_used || UseBlocks(cache, small, kBlocks, counts));
            allocations_left = at;
            was_right = UseBlocks(cache, large, 1, counts);
            allocations_left = kPlentyOfMemory;
            EXPECT_STREQ(cache.BrokenPromise(), nullptr);
            EXPECT_TRUE(UseBlocks(cache, large, kBlocks, counts));
            EXPECT_TRUE(UseBlocks(cache, small, kBlocks, counts));
            EXPECT_STREQ(cache.BrokenPromise(), nullptr);
        }
        EXPECT_EQ(charged.points.memory.Charged(), 0);
        EXPECT_EQ(charged.nodes.memory.Charged(), 0);
        if (was_right || testing::Test::HasFailure()) return at;
    }
}

TEST_F(PtcNoMemory, ABlockThatFindsNoneComesBackAndIsReadLater) {
    EXPECT_EQ(FailEach<PtcPointCache>(false), 2) << "records, floats of all";
    EXPECT_EQ(FailEach<PtcPointCache>(true), 1) << "more floats";
    EXPECT_EQ(FailEach<PtcNodeCache>(false), 9) << "records, floats of each";
    EXPECT_EQ(FailEach<PtcNodeCache>(true), 8);
    EXPECT_EQ(Taken(), Events()) << "it is not the file's fault";
}

TEST_F(PtcNoMemory, ATableThatFindsNoneIsMadeByALaterLookup) {
    PtcCacheStats stats;
    FakeSource file(1, {1000, 2, 2});
    PtcPointCache cache(3, stats);
    PtcPointTable table(cache, 3, stats);
    allocations_left = 0;
    const PtcPoint* const none = table.Get(file, 300);
    allocations_left = kPlentyOfMemory;
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(file.reads, 0);
    const PtcPoint* const point = table.Get(file, 300);
    ASSERT_TRUE(point);
    EXPECT_TRUE(file.IsPoint(*point, 300));
    EXPECT_EQ(stats.points.lookups.Value(), stats.points.misses.Value());
}

}  // namespace
