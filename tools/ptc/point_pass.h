// PointPass: every point of a cloud once, read in pieces of bounded size.
//
// Units      floats of data as the cloud declares them.
// Errors     a Failure that names the file, when a point cannot be read.
// Ownership  borrows the cloud and the progress bar; owns its buffers.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "ptc/reader.h"
#include "tools/common/progress.h"

namespace view {

/// Whether a disc can be made of the point: all numbers are finite, the radius is not negative.
bool IsDrawable(const PointHead& point);

class PointPass {
public:
    /// `name`: what messages call the file. `wants_data`: without, points come without data.
    PointPass(Cloud& cloud, std::string name, bool wants_data);

    using Visit = std::function<void(const PointHead& point, std::span<const float> data)>;

    /// Shows each drawable point to `visit`, in the file's order. `done`: the steps that the bar
    /// stands at before; every point is one more.
    void Run(Progress& progress, std::uint64_t done, const Visit& visit);

private:
    Cloud& cloud_;
    std::string name_;
    std::size_t floats_;  ///< of data a point, 0 when they are not wanted
    std::vector<PointHead> heads_;
    std::vector<float> data_;
};

}  // namespace view
