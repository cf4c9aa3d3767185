// `PtcBlockSource`: what a cache needs of a point cloud file.

#pragma once

#include <cstdint>

#include "ptc/held_blocks.h"
#include "ptc/records.h"
#include "util/base/results.h"

/// No file: the identity in the key of a block that holds nothing.
constexpr std::uint32_t kNoFile = 0xFFFFFFFF;

/// A file that blocks are read from.
///
/// Units      point indexes count from 0; a node reference is the node's offset in the file, and
///            the root is the one child of reference 0.
/// Errors     reads answer 1 for success, 0 for failure, and report nothing: the caches do.
/// Ownership  borrows the records; neither these nor their storage are kept.
/// Threads    reads come from any thread, several at once. Identity and counts change only while
///            no thread uses the file. Reads must not use the caches themselves.
class PtcBlockSource : public ptc_held::CachedFile {
public:
    /// For messages; null when there is none.
    virtual const char* Name() const = 0;

    virtual std::int64_t PointCount() const = 0;
    virtual std::int32_t FloatsPerPoint() const = 0;
    virtual std::int32_t FloatsPerNode() const = 0;

    /// Fills `count` records from point `first` on. Each record's `data` has room for
    /// FloatsPerPoint() floats. Caller: 0 <= `first`, 0 < `count`, and the file has these points.
    virtual CloudStatus ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records) = 0;

    /// Fills record i for each of the eight `references` that is not 0 and leaves the others
    /// alone. Each record's `data` has room for FloatsPerNode() floats. Fails when all are 0.
    virtual CloudStatus ReadNodeChildren(const std::int64_t* references, PtcNode* records) = 0;
};
