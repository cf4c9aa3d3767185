// What the library has counted: lookups, reads, memory and files, as numbers and as reports.
//
// Units      memory in bytes, times in seconds; a block is 256 points or the children of a node.
// Errors     false, or an empty text, when nothing was counted yet or memory runs out.
// Ownership  all answers are copies.
// Threads    any function from any thread at any time, while others look up. Numbers that are read
//            meanwhile are each right for some moment; once no thread looks up, they agree:
//            lookups = hits + misses.

#pragma once

#include <cstdint>
#include <string>

#include "ptc/api.h"

/// Of one of the two caches, all threads together.
struct PtcCacheNumbers {
    std::uint64_t lookups;
    std::uint64_t hits;
    std::uint64_t misses;
    std::uint64_t uncached;    ///< misses that were answered past the cache: all blocks were in use
    std::uint64_t items_read;  ///< a block of points counts 256, one of nodes its nodes
    std::uint64_t blocks;      ///< that the cache may hold
    std::int64_t memory;
    std::int64_t most_memory;
};

struct PtcStatistics {
    PtcCacheNumbers points;
    PtcCacheNumbers nodes;
    // Times of all threads together.
    double read_seconds;     ///< reading blocks
    double nearest_seconds;  ///< lookups of nearest points
    double sample_seconds;   ///< filtered lookups
    double search_seconds;   ///< of both, in octrees
    double load_seconds;     ///< reading files whose points are kept in memory
    double build_seconds;    ///< making the octrees of these

    std::int64_t cloud_memory;   ///< points of files without an octree
    std::int64_t octree_memory;  ///< their octrees

    std::uint64_t files_opened;
    std::uint64_t files_reopened;
    std::uint64_t files_closed;  ///< to make room for others
    std::uint64_t open_errors;
    std::int32_t files_open;  ///< at the moment
};

/// Stores the numbers; 0 for what does not exist. False: neither caches nor files exist.
PTC_API bool PtcGetStatistics(PtcStatistics* statistics) noexcept;

/// The caches' figures as a short table for people, and as one XML document.
PTC_API std::string PtcCacheTable() noexcept;
PTC_API std::string PtcCacheXml() noexcept;
