// The check of a whole file: header, points, octree, and that nothing else is there.

#pragma once

#include <cstdint>

#include "tools/common/input_file.h"
#include "tools/ptc/fault_list.h"

/// What was looked at.
struct CheckedCounts {
    std::int64_t points = 0;
    std::int64_t nodes = 0;
    // Of an organised file, and no faults there:
    std::int64_t apart = 0;       ///< points without a finite position, in no node
    std::int64_t zero_radii = 0;  ///< radii that are not finite and count as 0
};

/// Adds every fault of `file` to `faults`, in the order of the file's parts. A fault after which
/// the place of the rest is unknown ends the check. `shows_progress`: shows a bar when it takes
/// long; the caller then prints the faults only afterwards.
/// Fails when the file cannot be opened or read at all.
CheckedCounts CheckCloud(const InputFile& file, FaultList& faults, bool shows_progress);
