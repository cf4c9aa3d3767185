// Computes how many blocks each thread and the whole process may hold.

#pragma once

#include <algorithm>
#include <cstdint>

/// Blocks of one cache.
struct PtcCacheBudget {
    std::int32_t per_thread;
    std::int32_t total;
};

namespace cache_budget {

/// The size of a block in a budget: 256 points of 52 bytes; 8 nodes of 152 bytes.
constexpr std::int32_t kPointBlockBytes = 13312;
constexpr std::int32_t kNodeBlockBytes = 1216;

constexpr std::int64_t kDefaultKilobytes = 10240;

constexpr std::int32_t kFewestPerThread = 3;

/// More blocks than any memory can contain, and few enough that the numbers of buckets and of slots
/// fit into 32 bits.
constexpr std::int64_t kMostBlocks = std::int64_t{1} << 28;

/// `kilobytes` in bytes, at most what fits into 64 bits. Caller: `kilobytes` is at least 1.
constexpr std::int64_t BytesOf(std::int64_t kilobytes) {
    return std::min(kilobytes, INT64_MAX / 1024) * 1024;
}

/// `bytes`: memory for one cache, at least 0. `threads`: below 1 counts as 1. `constant_limit`
/// makes the bytes a limit for all threads together instead of one for each.
///
/// The total is never below `threads` times the count of one thread. A thread that looks for a
/// block holds fewer blocks than its count, so with at most `threads` threads it finds one even if
/// all others hold as many as they may.
constexpr PtcCacheBudget BudgetFor(std::int64_t bytes, std::int32_t block_bytes,
                                   std::int32_t threads, bool constant_limit) {
    const std::int64_t most_threads = kMostBlocks / kFewestPerThread;
    const std::int64_t n = std::clamp<std::int64_t>(threads, 1, most_threads);
    const std::int64_t blocks = std::min(bytes / block_bytes, kMostBlocks);
    std::int64_t per_thread = constant_limit ? blocks / (n + 1) : blocks;
    const std::int64_t total = constant_limit ? blocks : (n + 1) * blocks;

    // KEPT: a count below 4 becomes 3: the floor is 3 although the test is for 4.
    // Test: the assertions below, and PtcCacheBudget.FollowsTheOptions.
    if (per_thread < 4) per_thread = kFewestPerThread;

    per_thread = std::min(per_thread, kMostBlocks / n);
    return {static_cast<std::int32_t>(per_thread),
            static_cast<std::int32_t>(std::min(std::max(n * per_thread, total), kMostBlocks))};
}

constexpr std::int64_t kDefaultBytes = BytesOf(kDefaultKilobytes);
static_assert(kDefaultBytes == 10485760);

static_assert(BudgetFor(kDefaultBytes, kPointBlockBytes, 7, false).per_thread == 787);
static_assert(BudgetFor(kDefaultBytes, kPointBlockBytes, 7, false).total == 6296);
static_assert(BudgetFor(kDefaultBytes, kNodeBlockBytes, 7, false).per_thread == 8623);
static_assert(BudgetFor(kDefaultBytes, kNodeBlockBytes, 7, false).total == 68984);

static_assert(BudgetFor(kDefaultBytes, kPointBlockBytes, 7, true).per_thread == 98);
static_assert(BudgetFor(kDefaultBytes, kPointBlockBytes, 7, true).total == 787);
static_assert(BudgetFor(kDefaultBytes, kNodeBlockBytes, 7, true).per_thread == 1077);
static_assert(BudgetFor(kDefaultBytes, kNodeBlockBytes, 7, true).total == 8623);

// 30 KB are 2 blocks, which becomes the floor of 3; the total is what seven such threads need.
static_assert(BudgetFor(BytesOf(30), kPointBlockBytes, 7, false).per_thread == 3);
static_assert(BudgetFor(BytesOf(30), kPointBlockBytes, 7, false).total == 21);
static_assert(BudgetFor(BytesOf(13 * 3), kPointBlockBytes, 1, false).per_thread == 3);
static_assert(BudgetFor(BytesOf(13 * 4), kPointBlockBytes, 1, false).per_thread == 4);

// The largest arguments do not overflow.
static_assert(BudgetFor(BytesOf(INT64_MAX), kNodeBlockBytes, INT32_MAX, false).total ==
              kMostBlocks);
static_assert(BudgetFor(BytesOf(INT64_MAX), kNodeBlockBytes, INT32_MAX, false).per_thread == 3);
static_assert(BudgetFor(BytesOf(INT64_MAX), kNodeBlockBytes, 3, false).per_thread ==
              kMostBlocks / 3);

}  // namespace cache_budget
