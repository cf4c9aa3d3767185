// Answers: what a cloud says of places.
//
// Units      those of rays.h.
// Errors     Failure with the library's text.
// Ownership  OpenedCloud owns its use of the file.
// Threads    OpenedCloud belongs to the thread that made it.

#pragma once

#include <string>
#include <vector>

#include "bench/light/rays.h"
#include "ptc/access.h"
#include "ptc/light.h"

namespace accuracy {

/// A cloud, organised with light, that is open.
class OpenedCloud {
public:
    /// `colour`: what lookups of the nearest point answer.
    OpenedCloud(const std::string& file, const std::string& colour);

    const PtcLight& Light() const { return light_; }
    const PtcLookup& Colours() const { return colours_; }
    std::int64_t Points() const { return points_; }
    float LargestRadius() const { return largest_radius_; }

private:
    PtcFile file_;
    PtcLight light_;
    PtcLookup colours_;
    std::int64_t points_ = 0;
    float largest_radius_ = 0;
};

struct NamedQuality {
    const char* name;
    PtcGatherQuality quality;
};

/// How places are asked for, and what is printed of them.
struct Questions {
    std::vector<NamedQuality> qualities;
    float bias = 0;
    int worst = 0;  ///< places to print for each figure
};

/// "coarse", "default", "fine", or "all" of them.
std::vector<NamedQuality> QualitiesOf(const std::string& name);

PtcGathering SettingsOf(Quantity quantity, const PtcGatherQuality& quality, float bias);

/// One place by the cloud; occlusion answers the same number three times.
Vec3d GatherAt(const PtcLight& light, Quantity quantity, const Place& place,
               const PtcGathering& settings);

}  // namespace accuracy
