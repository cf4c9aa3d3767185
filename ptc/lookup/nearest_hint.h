// NearestHint: how far the nearest points can be at most, from where they were for another place.
//
// Units      squared distances in world space.
// Errors     none.
// Threads    one caller at a time.
//
// When the n-th nearest point of a place is at a distance d, and another place is e away from it,
// then n points are within d + e of the other place. Most nodes of an octree are out of reach of
// such a bound, and need not be opened to find that out. When places follow each other along a
// surface, d + e is little more than the distance that will be found.

#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "ptc/lookup/squared_distance.h"

class NearestHint {
public:
    /// A bound for the squared distance of the `most`-th nearest point to `place`, in the clouds of
    /// the lookup with number `lookup`; infinite where nothing is known.
    float For(std::uint64_t lookup, std::int32_t most, const float* place) const {
        if (lookup != lookup_ || most > most_) return HUGE_VALF;
        const double moved = squared_distance::Way(place_, place);
        const double reach = (std::sqrt(double{squared_distance_}) + moved) * kSlack;
        const double bound = reach * reach + kLeast;
        return bound < double{FLT_MAX} ? static_cast<float>(bound) : HUGE_VALF;
    }

    /// `place` has `most` points, of which the last is at `squared_distance`.
    void Found(std::uint64_t lookup, std::int32_t most, const float* place,
               float squared_distance) {
        lookup_ = lookup;
        most_ = most;
        std::copy_n(place, 3, place_);
        squared_distance_ = squared_distance;
    }

private:
    /// Far above the rounding of all distances in this, and of the search's.
    static constexpr double kSlack = 1.00001;
    /// Above all squares that are rounded to 0.
    static constexpr double kLeast = 1e-36;

    std::uint64_t lookup_ = 0;  ///< no lookup's number
    std::int32_t most_ = 0;
    float place_[3] = {};
    float squared_distance_ = 0;
};
