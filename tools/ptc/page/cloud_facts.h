// CloudFacts: what a page says about a cloud besides its points, found in one reading.
//
// Units      world space; values as in the file.
// Errors     a Failure that names the file, when a point cannot be read or none can be drawn.
// Ownership  texts are borrowed from the cloud.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ptc/organise/point_order.h"
#include "tools/ptc/point_pass.h"
#include "tools/ptc/variable_list.h"
#include "tools/ptc/view/colouring.h"

namespace page {

/// A variable that is shown, with what has to be known of each of its floats.
struct ShownVariable {
    Variable variable;
    view::ColourKind kind;
    std::vector<double> scales;            ///< powers of two: over them values fit half floats
    std::vector<view::ValueRange> ranges;  ///< as `ptc view` chooses them for the colour map
    view::ValueRange range;                ///< of the variable as a whole
};

struct CloudFacts {
    const StoredHeader* header = nullptr;
    std::string name;          ///< for readers of the page
    std::uint64_t points = 0;  ///< that can be drawn, as `ptc view` decides
    FiniteBox box;             ///< around their positions
    float largest_radius = 0;  ///< of them
    view::ValueRange radius_range;
    bool has_camera = false;  ///< of its own, which sees enough of them
    std::vector<ShownVariable> variables;

    std::size_t Floats() const;
    /// Of one point in the page.
    std::size_t BytesPerPoint() const;
};

/// Reads all points once. `pass` is that of `cloud`; `file`: what messages call it.
CloudFacts LookAt(const StoredHeader& cloud, const std::string& file,
                  const std::vector<Variable>& shown, PointPass& pass, Progress& progress,
                  std::uint64_t done);

}  // namespace page
