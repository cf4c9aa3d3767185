// Distributing records to chains in a part file by the leading levels of their codes.
//
// Units      sizes in bytes.
// Errors     throws OrganiseError and std::bad_alloc.
// Ownership  borrows the file.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "ptc/organise/part_file.h"
#include "ptc/organise/point_order.h"
#include "ptc/organise/work_crew.h"

/// The points of an octant, in the order of the input, and the range of their codes.
struct PartBucket {
    PartChain points;
    std::uint64_t least = UINT64_MAX;
    std::uint64_t greatest = 0;
    bool has_repeats = true;  ///< may have: repeats were not dropped from it yet

    bool IsOneCode() const { return least == greatest; }
};

/// Stores the next records, whole ones, and returns their bytes; 0: there are none.
using NextRecords = std::function<std::size_t(std::span<std::byte> room)>;

class Partition {
public:
    /// `levels`: how many are distributed by at once; needs 8 to this power chunks of memory.
    Partition(PartFile& file, const OctreeCube& cube, int levels, WorkProgress& progress)
        : file_(file), cube_(cube), levels_(levels), progress_(progress) {}

    /// The records in the order of their octants, those without a place last. Their codes share
    /// `shared` levels at least; fewer than kOctreeLevels.
    std::vector<PartBucket> Distribute(const NextRecords& next, int shared);

    /// The same for a bucket, whose place in the file is used again. Caller: it is not one code.
    std::vector<PartBucket> Distribute(PartBucket bucket);

private:
    PartFile& file_;
    const OctreeCube& cube_;
    const int levels_;
    WorkProgress& progress_;
};
