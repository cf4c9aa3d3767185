// PointPass: every point of a cloud once.
//
// Units      floats of data as the cloud declares them.
// Errors     a Failure that names the file, when a point cannot be read.
// Ownership  borrows the cloud and the progress bar.
// Threads    one caller at a time.

#pragma once

#include <functional>
#include <span>
#include <string>
#include <utility>

#include "ptc/cloud/reader.h"
#include "tools/common/progress.h"

namespace view {

/// Whether a disc can be made of the point: all numbers are finite, the radius is not negative.
bool IsDrawable(const PointHead& point);

class PointPass {
public:
    /// `name`: what messages call the file.
    PointPass(CloudReader& cloud, std::string name) : cloud_(cloud), name_(std::move(name)) {}

    using Visit = std::function<void(const PointHead& point, std::span<const float> data)>;

    /// Shows each drawable point to `visit`, in the file's order. `done`: the steps that
    /// the bar shows before; every point is one more.
    void Run(Progress& progress, std::uint64_t done, const Visit& visit);

private:
    CloudReader& cloud_;
    std::string name_;
};

}  // namespace view
