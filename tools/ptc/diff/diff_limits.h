// DiffLimits: how far apart two values may be and still count as the same.
//
// Units      differences in the unit of the values; angles in degrees.
// Errors     none.
// Threads    any.

#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

struct DiffLimits {
    double absolute = 0;
    double relative = 0;  ///< of the greater one of the two values
    double angle = 0;     ///< between normals

    bool AreNone() const { return absolute == 0 && relative == 0 && angle == 0; }

    /// Whether `a` and `b`, which are `difference` apart, count as the same. One limit is enough.
    bool Allow(double difference, float a, float b) const {
        if (difference <= absolute) return true;
        return difference <= relative * std::max(std::fabs(double{a}), std::fabs(double{b}));
    }
};

/// Whether the two are the same number: 0 and -0 are, and so are two NaNs.
inline bool IsSameNumber(float a, float b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

/// How far apart they are, rounded once; infinite or NaN when there is nothing to subtract.
inline double DistanceOf(float a, float b) {
    return std::fabs(double{a} - double{b});
}

/// Whether they count as the same.
inline bool AreAlike(float a, float b, const DiffLimits& limits) {
    if (IsSameNumber(a, b)) return true;
    const double difference = DistanceOf(a, b);
    return std::isfinite(difference) && limits.Allow(difference, a, b);
}
