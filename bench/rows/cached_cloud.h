// A cloud file and the same records in a plain array: what the rows of the caches compare.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/rows/row.h"
#include "ptc/records.h"

namespace cached_cloud {

constexpr std::int64_t kBlockPoints = 256;
constexpr std::int64_t kBlocks = 1024;
constexpr std::int64_t kPoints = kBlocks * kBlockPoints;
constexpr std::int64_t kFloats = 3;

/// The cloud's file; deleted at the end of the program.
const std::string& FileName();

/// Where a block's bytes begin, and how many they are.
std::int64_t PlaceOf(std::int64_t block);
constexpr std::size_t kBlockBytes = kBlockPoints * (20 + 4 * kFloats);

/// The records as an array, as the file gives them.
const std::vector<PtcPoint>& Records();

/// Which points are read, one after another.
enum class Stream {
    kHot,     ///< random points of 16 blocks
    kWalk,    ///< neighbours of a place that moves slowly and sometimes jumps far
    kRandom,  ///< random points of all blocks
};

constexpr std::int64_t kReads = 1 << 18;

/// kReads indexes; every thread has its own.
const std::vector<std::int32_t>& Indexes(Stream stream, int thread);

/// Makes the caches anew. A thread holds `blocks` blocks of points, and the shared cache `threads`
/// + 1 times as many.
void MakeCaches(int threads, std::int64_t blocks);

struct LookupRow {
    std::string what;
    Stream stream;
    int threads;          ///< that look up at once
    int counted_threads;  ///< that the caches are made for
    std::int64_t blocks;  ///< that a thread holds
    double goal;
};

/// The stream through PtcGetPoint() beside the array, as lookups a second.
Row MakeRow(const LookupRow& row);

}  // namespace cached_cloud
