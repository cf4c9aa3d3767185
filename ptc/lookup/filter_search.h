// FilterSearch: what a filtered lookup wants of octrees, and the sums that it makes of it.
//
// Units      those of ptc/lookup.h, where the formula is.
// Errors     throws std::bad_alloc.
// Ownership  borrows all it is given.
// Threads    one caller at a time.

#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "ptc/lookup.h"
#include "ptc/lookup/tree_search.h"

/// The sums over points, in double precision; the memory stays for the next lookup.
struct FilterSums {
    std::vector<double> values;   ///< one a float of an answer
    std::vector<double> weights;  ///< one a variable

    void Clear(std::size_t floats, std::size_t variables) {
        values.assign(floats, 0);
        weights.assign(variables, 0);
    }
};

class FilterSearch {
public:
    /// In the order of a file's points, so that the sums do not depend on the place's neighbours.
    static constexpr bool kNearestFirst = false;

    FilterSearch(const PtcPlace& place, const PtcFilter& filter,
                 std::span<const LookedUpFile> files, std::span<const WantedVariable> variables,
                 FilterSums& sums)
        : from_(place.position),
          place_(place),
          radius_(filter.radius),
          squared_radius_(filter.radius * filter.radius),
          // Where all normals agree equally, the formula has no infinity in it.
          least_dot_(std::max(filter.least_dot, std::numeric_limits<float>::lowest())),
          files_(files),
          variables_(variables),
          sums_(sums) {}

    float Limit() const { return squared_radius_; }

    /// A box of a node encloses its points' spheres, so a sphere that reaches the place has it in
    /// its box.
    bool Wants(float bound, std::int32_t, std::int32_t) const {
        return bound == 0 || bound < squared_radius_;
    }

    void Visit(const PointRun& run) {
        for (std::int32_t i = 0; i < run.count; ++i) {
            const PtcPoint& point = run.points[i];
            const double weight = Weight(point);
            if (weight > 0) Add(files_[static_cast<std::size_t>(run.file)], point.data, weight);
        }
    }

private:
    double Weight(const PtcPoint& point) const {
        const float distance = from_.ToPoint(point);
        // In double precision, because the square of a large radius is not a float.
        const bool is_own = point.radius > radius_ && std::isfinite(point.radius);
        const double reach = is_own ? double{point.radius} * point.radius : squared_radius_;
        if (!(distance < reach) || (is_own && !ReachesPlace(point))) return 0;
        const double near = 1 - distance / reach;
        return near * near * Agreement(point);
    }

    /// Whether the place is in the box around the point's sphere.
    bool ReachesPlace(const PtcPoint& point) const {
        for (int i = 0; i < 3; ++i)
            if (!(point.position[i] - point.radius <= place_.position[i] &&
                  place_.position[i] <= point.position[i] + point.radius))
                return false;
        return true;
    }

    double Agreement(const PtcPoint& point) const;
    void Add(const LookedUpFile& file, const float* data, double weight);

    const squared_distance::From from_;
    const PtcPlace place_;
    const float radius_;
    const float squared_radius_;
    const float least_dot_;
    const std::span<const LookedUpFile> files_;
    const std::span<const WantedVariable> variables_;
    FilterSums& sums_;
};
