// `PairRules`: decides whether two records may merge: their distance, and whether they are alike.
//
// Units      squared distances, in world units or in pixels.
// Ownership  borrows settings and projection.
// Threads    any.

#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "driver/octree.h"
#include "driver/simplify.h"

class PairRules {
public:
    PairRules(const SimplifySettings& settings, const Projection& projection);

    /// The largest squared distance of a pair; NaN when no pair can be near enough.
    float Limit() const { return limit_; }
    bool IsRasterSpace() const { return is_raster_space_; }

    /// A candidate replaces the best one so far if its squared distance is at most this share of
    /// the best. At distance 0 every later candidate at distance 0 qualifies, so the last one wins.
    static float Nearer(float best) { return best * kNearer; }
    static constexpr float kNearer = 0.999f;

    float SquaredDistance(const PointRecord& query, const PointRecord& other) const {
        const float* const p = query.head.position;
        const float* const q = other.head.position;
        const float squared = Square(p[0] - q[0]) + Square(p[1] - q[1]) + Square(p[2] - q[2]);
        if (!is_raster_space_) return squared;
        return InPixels(squared, Divisor((p[2] + q[2]) * 0.5f));
    }

    /// The squared distance to a node's box, converted at the query's depth; 0 inside the box.
    float SquaredDistance(const PointRecord& query, const SimplifyNode& node) const {
        const float* const p = query.head.position;
        const float squared = ToBox(p, node.box_min, node.box_max);
        if (!is_raster_space_ || squared == 0) return squared;
        return InPixels(squared, Divisor(p[2]));
    }

    bool IsAlike(const PointRecord& query, const PointRecord& other) const {
        const float* const n = query.head.normal;
        const float* const m = other.head.normal;
        if (!(n[0] * m[0] + n[1] * m[1] + n[2] * m[2] >= min_dot_)) return false;
        for (const std::size_t k : compared_)
            if (std::fabs(query.data[k] - other.data[k]) > max_difference_) return false;
        return true;
    }

    /// Whether the record can have a partner or be one.
    bool CanMerge(const PointRecord& record) const;

    // Every number that decides about a pair is a coordinate: three of the position, three of the
    // normal, and the compared floats of the data. Records with equal coordinates are
    // interchangeable as partners.
    static constexpr std::size_t kHeadAxes = 6;
    std::size_t Axes() const { return kHeadAxes + compared_.size(); }
    float Coordinate(const PointRecord& record, std::size_t axis) const {
        if (axis < 3) return record.head.position[axis];
        return axis < kHeadAxes ? record.head.normal[axis - 3]
                                : record.data[compared_[axis - kHeadAxes]];
    }

    /// Whether no record with coordinates from `low` to `high` is both alike and within `reach`.
    /// Never wrongly true: rounding keeps the order of values, so the formula of a pair, applied to
    /// the bounds, gives a bound of its result for every record between them.
    bool KeepApart(const PointRecord& query, const float* low, const float* high,
                   float reach) const;

private:
    static float Square(float value) { return value * value; }
    static float ToBox(const float* p, const float* low, const float* high) {
        float squared = 0;
        for (int axis = 0; axis < 3; ++axis) {
            if (p[axis] < low[axis]) {
                squared += Square(low[axis] - p[axis]);
            } else if (p[axis] > high[axis]) {
                squared += Square(p[axis] - high[axis]);
            }
        }
        return squared;
    }
    float Divisor(float depth) const {
        return depth * projection_.world_to_ndc[11] + projection_.world_to_ndc[15];
    }
    float InPixels(float squared, float divisor) const {
        const float half_width = projection_.format[0] * 0.5f;
        return Square(std::sqrt(squared) * projection_.world_to_ndc[0] / divisor * half_width);
    }
    bool AreTooFar(const float* p, const float* low, const float* high, float reach) const;

    const Projection& projection_;
    bool is_raster_space_;
    float limit_;
    float min_dot_;
    float max_difference_;
    std::vector<std::size_t> compared_;  // indexes of the data's floats that are not areas
};
