// The repair: a sound file of one whose writing stopped early or whose tail is cut.

#pragma once

#include <cstdint>

#include "tools/common/input_file.h"
#include "tools/common/output_file.h"

/// What became of the file.
struct RepairReport {
    enum class Octree { kNone, kKept, kDropped };

    std::int64_t counted = 0;        ///< points that the old header counts
    std::int64_t kept = 0;           ///< points in the new file
    std::int64_t dropped_bytes = 0;  ///< behind what is kept
    std::int64_t unsound = 0;        ///< kept points with a value that a check finds fault with
    Octree octree = Octree::kNone;
};

/// Writes a sound copy of `input` to `output`: every whole point record byte for byte, a header
/// whose counts, box and largest radius are theirs, and the octree when all of it is intact. The
/// form and the version stay. `input` is as it is stored or inflated, not compressed.
/// The caller commits `output`.
/// Fails when the header is not whole, and when anything cannot be read or written.
RepairReport RepairCloud(const InputFile& input, OutputFile& output);
