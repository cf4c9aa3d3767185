// NodeSums: means of the points of a node, and what light needs of them, as they add up.
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

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "ptc/format/layout.h"
#include "ptc/organise/finite_float.h"
#include "ptc/organise/light_sums.h"

class NodeSums {
public:
    /// `light`: nothing if the nodes have no data for it.
    explicit NodeSums(const CloudVariables& variables, const std::optional<LightChoice>& light) {
        for (std::size_t i = 0; i < variables.names.size(); ++i)
            is_sum_.insert(is_sum_.end(), static_cast<std::size_t>(variables.sizes[i]),
                           variables.names[i].find("area") != std::string::npos);
        if (light) light_.emplace(*light);
    }

    std::size_t Floats() const { return Means() + (light_ ? light_->Floats() : 0); }
    std::size_t Size() const { return kEach * Means() + (light_ ? light_->Size() : 0); }

    /// Sums of no point.
    void Begin(double* sums) const {
        std::fill_n(sums, kEach * Means(), 0.0);
        if (light_) light_->Begin(sums + kEach * Means());
    }

    /// Adds a point with a finite position to `sums`. `radius`: as it counts.
    void AddPoint(const std::byte* record, float radius, double* sums) const {
        const double weight = static_cast<double>(radius) * radius;
        const std::byte* at = record + ptc_layout::kPointHeadBytes;
        for (std::size_t i = 0; i < Means(); ++i, at += sizeof(float), sums += kEach) {
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
        if (light_) light_->AddPoint(record, radius, sums);
    }

    void AddNode(const double* child, double* sums) const {
        const std::size_t means = kEach * Means();
        for (std::size_t i = 0; i < means; ++i) sums[i] += child[i];
        if (light_) light_->AddNode(child + means, sums + means);
    }

    /// Writes the node's data, Floats() of them, to `out`.
    void Store(const double* sums, float* out) const {
        for (std::size_t i = 0; i < Means(); ++i, sums += kEach) *out++ = Mean(sums, i);
        if (light_) light_->Store(sums, out);
    }

private:
    enum : std::size_t { kWeights, kWeighted, kPlain, kCount, kEach };

    std::size_t Means() const { return is_sum_.size(); }

    /// Float `i` of the means.
    float Mean(const double* sums, std::size_t i) const {
        double value = sums[kPlain];
        if (!is_sum_[i] && sums[kCount] > 0)
            value =
                sums[kWeights] > 0 ? sums[kWeighted] / sums[kWeights] : sums[kPlain] / sums[kCount];
        return ClampToFinite(value);
    }

    std::vector<bool> is_sum_;  ///< for each float of a point
    std::optional<LightSums> light_;
};

/// The radius as it counts.
inline float CountedRadius(const std::byte* record) {
    float radius;
    std::memcpy(&radius, record + Find(ptc_layout::kPoint, "radius").offset, sizeof radius);
    return IsFinite(radius) ? radius : 0.0f;
}
