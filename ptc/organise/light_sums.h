// LightSums: what light needs of the points of a node, as it adds up.
//
// Units      positions, radii and boxes in world space.
// Errors     none.
// Ownership  borrows the sums, whose place the caller chooses: doubles, Size() of them.
// Threads    any; one caller at a time for one place.
//
// ptc/format/light_nodes.h says what comes out. An area that is not finite or is negative is 0, and
// so is a value of a color that is not finite. A point without a normal has a third of its area on
// each axis, so that traces still are what all points have together, and reaches as far as a
// sphere. All is added in double precision: for a leaf point by point, for any other node child by
// child.

#pragma once

#include <optional>

#include "ptc/format/cloud_header.h"
#include "ptc/format/light_nodes.h"
#include "ptc/format/normal_decode.h"
#include "ptc/organise/light_choice.h"

class LightSums {
    // Minimum and maximum of the box come first; the rest adds up.
    enum : std::size_t {
        kLow = 0,
        kHigh = 3,
        kArea = 6,
        kWeighted = 7,  ///< positions times areas
        kPlain = 10,    ///< positions
        kCount = 13,
        kNormal = 14,
        kMatrix = 17,
        kPower = 23,  ///< only with a color
    };

public:
    static constexpr std::size_t kMostSize = kPower + light_nodes::kPowerFloats;

    explicit LightSums(const LightChoice& choice);

    std::size_t Floats() const {  ///< of a node's data
        return light_nodes::kMostFloats - (color_at_ ? 0 : light_nodes::kPowerFloats);
    }
    std::size_t Size() const { return color_at_ ? kMostSize : std::size_t{kPower}; }

    /// Sums of no point.
    void Begin(double* sums) const;

    /// Adds a point with a finite position. `radius`: as it counts.
    void AddPoint(const std::byte* record, float radius, double* sums) const;
    void AddNode(const double* child, double* sums) const;

    /// Writes Floats() finite floats to `out`.
    void Store(const double* sums, float* out) const;

private:
    const NormalDecoder& normals_;
    const std::optional<std::size_t> area_at_;   ///< in a record
    const std::optional<std::size_t> color_at_;  ///< likewise
};
