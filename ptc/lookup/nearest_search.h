// NearestSearch: what a search for the nearest points wants of octrees.
//
// Units      those of ptc/lookup.h.
// Errors     throws std::bad_alloc.
// Ownership  borrows the place and the candidates.
// Threads    one caller at a time.

#pragma once

#include <bit>
#include <cmath>

#include "ptc/lookup.h"
#include "ptc/lookup/candidates.h"
#include "ptc/lookup/tree_search.h"

class NearestSearch {
public:
    static constexpr bool kNearestFirst = true;

    /// `limit`: no point with a greater squared distance is wanted.
    NearestSearch(const PtcPlace& place, const PtcNearest& wanted, float limit,
                  Candidates& candidates)
        : from_(place.position),
          normal_(wanted.least_dot > -1 ? place.normal : nullptr),
          least_dot_(wanted.least_dot),
          candidates_(candidates) {
        candidates.Begin(wanted.most, limit);
    }

    float Limit() const { return candidates_.SquaredDistance(); }
    bool Wants(float bound, std::int32_t file, std::int64_t index) const {
        return candidates_.Wants(bound, file, index);
    }

    void Visit(const PointRun& run) {
        std::int64_t i = 0;
        for (; i + 4 <= run.count; i += 4) {
            const auto distances = from_.ToPoints(run.points + i);
            for (unsigned lanes = squared_distance::MaskAtMost(distances, Limit()); lanes != 0;
                 lanes &= lanes - 1) {
                const int lane = std::countr_zero(lanes);
                Offer(distances[lane], run, i + lane);
            }
        }
        for (; i < run.count; ++i) Offer(from_.ToPoint(run.points[i]), run, i);
    }

private:
    void Offer(float distance, const PointRun& run, std::int64_t i) {
        // This way round NaN is refused, too.
        if (!(distance <= Limit())) return;
        const std::int64_t place = run.place + i;
        const std::int64_t index = run.indexes ? run.indexes[i] : place;
        if (!candidates_.Wants(distance, run.file, index) || !Fits(run.points[i], distance)) return;
        candidates_.Add({distance, run.file, index, place});
    }

    bool Fits(const PtcPoint& point, float distance) const {
        if (std::isinf(distance) &&
            !(std::isfinite(point.position[0]) && std::isfinite(point.position[1]) &&
              std::isfinite(point.position[2])))
            return false;
        return !normal_ || (normal_[0] * point.normal[0] + normal_[1] * point.normal[1]) +
                                   normal_[2] * point.normal[2] >=
                               least_dot_;
    }

    const squared_distance::From from_;
    const float* const normal_;
    const float least_dot_;
    Candidates& candidates_;
};
