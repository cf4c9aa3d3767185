// The bounds of a run of points, found in lanes.
//
// Units      world space.
// Threads    one caller at a time.

#pragma once

#include "ptc/format/point_bounds.h"
#include "ptc/format/point_lanes.h"

struct RunBounds {
    PointBounds spheres;    ///< of the points whose radius is not negative
    PositionBox positions;  ///< of all points

    /// Includes the points one by one.
    void Include(const HeadRun& heads);
};

/// Includes runs that lie one behind the other, with the same result as one by one. Takes a third
/// of the instructions.
///
/// The order of the points matters for one thing only: a bound that becomes zero has the sign of
/// the first zero that it meets. A bound moves to zero once in the life of a box, from one side;
/// the points are then included again, one by one.
class RunBoundsByLanes {
public:
    /// `heads`: all points of the runs.
    RunBoundsByLanes(const PointLanes& lanes, const HeadRun& heads, const RunBounds& before);

    void Include(const HeadRun& run) { lanes_.include(run, &values_); }

    /// Caller: has included all runs.
    RunBounds Result() const;

private:
    const PointLanes& lanes_;
    const HeadRun heads_;
    const RunBounds before_;
    LaneBounds values_;
};
