// NodeSums: box and means of the points of a node, as they add up.
//
// Units      positions, radii and boxes in world space.
// Errors     none.
// Ownership  borrows the sums, whose place the caller chooses: doubles, Size() of them.
// Threads    any; one caller at a time for one place.
//
// The mean of a float weighs each point by its radius squared; it is the plain mean if these are
// all 0. The sum takes its place in a variable whose name contains "area". Values that are not
// finite do not count, and a radius that is not finite is 0. All is added in double precision: for
// a leaf point by point, for any other node child by child.

#pragma once

#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "ptc/format/layout.h"
#include "ptc/format/point_bounds.h"

/// Finite: what lies beyond the range of floats comes to its end.
inline float ClampToFinite(double value) {
    constexpr double kMost = std::numeric_limits<float>::max();
    return static_cast<float>(value > kMost ? kMost : value < -kMost ? -kMost : value);
}

inline bool IsFinite(float value) {
    return value - value == 0;
}

class NodeSums {
public:
    explicit NodeSums(const CloudVariables& variables) {
        for (std::size_t i = 0; i < variables.names.size(); ++i)
            is_sum_.insert(is_sum_.end(), static_cast<std::size_t>(variables.sizes[i]),
                           variables.names[i].find("area") != std::string::npos);
    }

    std::size_t Floats() const { return is_sum_.size(); }
    std::size_t Size() const { return kEach * Floats(); }

    /// Adds a point to `sums`.
    void AddPoint(const std::byte* record, float radius, double* sums) const {
        const double weight = static_cast<double>(radius) * radius;
        const std::byte* at = record + ptc_layout::kPointHeadBytes;
        for (std::size_t i = 0; i < Floats(); ++i, at += sizeof(float), sums += kEach) {
            float value;
            std::memcpy(&value, at, sizeof value);
            const bool counts = IsFinite(value);
            const double counted = counts ? value : 0.0;
            const double weighs = counts ? weight : 0.0;
            sums[kWeights] += weighs;
            sums[kWeighted] += weighs * counted;
            sums[kPlain] += counted;
            sums[kCount] += counts ? 1.0 : 0.0;
        }
    }

    void AddNode(const double* child, double* sums) const {
        for (std::size_t i = 0; i < Size(); ++i) sums[i] += child[i];
    }

    /// Float `i` of the node's data.
    float Mean(const double* sums, std::size_t i) const {
        sums += kEach * i;
        double value = sums[kPlain];
        if (!is_sum_[i] && sums[kCount] > 0)
            value =
                sums[kWeights] > 0 ? sums[kWeighted] / sums[kWeights] : sums[kPlain] / sums[kCount];
        return ClampToFinite(value);
    }

private:
    enum : std::size_t { kWeights, kWeighted, kPlain, kCount, kEach };

    std::vector<bool> is_sum_;  ///< for each float
};

/// The radius as it counts.
inline float CountedRadius(const std::byte* record) {
    float radius;
    std::memcpy(&radius, record + Find(ptc_layout::kPoint, "radius").offset, sizeof radius);
    return IsFinite(radius) ? radius : 0.0f;
}
