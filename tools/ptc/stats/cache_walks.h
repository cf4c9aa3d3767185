// Walks over a cloud as shading threads make them, through the library's caches.
//
// Units      lookups of single points, of the children of one node, of the 8 points nearest to a
// place,
//            or of all variables filtered there; seconds of wall time.
// Errors     a Failure for a file that cannot be opened. A lookup without an answer ends its
//            thread's part of the walk and is kept in the outcome.
// Ownership  borrows the file. The caches and what they count go on from walk to walk.
// Threads    Walk() starts and joins its own; one walk at a time.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/common/input_file.h"

enum class WalkKind {
    kSequential,  ///< each thread reads its part of the points in the file's order
    kRandom,      ///< any points in any order
    kCoherent,    ///< neighbours of a place that drifts, and now and then another place
    kTree,        ///< each thread visits the whole octree, node by node
    // Lookups at the places of points, chosen likewise.
    kNearestRandom,
    kNearestCoherent,
    kFilteredRandom,
    kFilteredCoherent,
};

struct WalkPlan {
    int threads = 1;
    std::int64_t lookups = 0;            ///< of all threads together; a tree is walked whole
    std::chrono::milliseconds limit{0};  ///< ends a walk that is not done by then; 0: nothing does
};

struct WalkOutcome {
    std::int64_t lookups = 0;
    std::int64_t hits = 0;
    std::int64_t misses = 0;
    std::int64_t items_read = 0;  ///< points or nodes that were read from the file
    double seconds = 0;
    bool is_cut = false;  ///< the limit has ended it
    std::string missing;  ///< what could not be read, in words; empty: nothing
};

/// Walks over `file`. The same plan makes the same lookups every time; a limit may end them early.
WalkOutcome Walk(const InputFile& file, WalkKind kind, const WalkPlan& plan);
