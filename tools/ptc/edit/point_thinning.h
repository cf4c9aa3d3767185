// PointThinning: merges points that are close and alike, with the driver's simplifier.
//
// Units      distances in the units of the positions; the buffer in points.
// Errors     std::bad_alloc; but without memory for its octree the simplifier ends the process.
// Ownership  owns the points that wait.
// Threads    one caller at a time.
//
// Points are merged within a buffer, as they come. Those without an extent, of radius 0 or NaN,
// have no surface that could merge, and pass.

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "driver/point_buffer.h"
#include "driver/simplify.h"
#include "ptc/format/cloud_header.h"
#include "tools/ptc/edit/edit_options.h"
#include "tools/ptc/edit/record_batch.h"

namespace edit {

class PointThinning {
public:
    /// Takes the points that are left: their records, in no order that matters.
    using Write = std::function<void(RecordBatch*)>;

    /// `variables`: of the points. The floats of those whose name contains "area" are added up.
    PointThinning(const Thinning& options, const CloudVariables& variables);

    void Take(const RecordBatch& batch, const Write& write);

    /// Hands out the points that still wait.
    void Finish(const Write& write);

private:
    SimplifySettings settings_;
    const std::size_t data_floats_;
    PointBuffer buffer_;
    std::vector<NormalCode> codes_;  ///< of the buffer's rows
};

}  // namespace edit
