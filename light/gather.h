// Gather: what is seen from a place, collected by a walk and drawn into a map of the hemisphere.
//
// Groups and small points are seen as squares, large points as the discs that they are.
//
// Units      those of ptc/light.h.
// Errors     throws std::bad_alloc.
// Ownership  owns its memory, which stays for the next place.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "light/disc_caster.h"
#include "light/four_lanes.h"
#include "light/hemisphere_map.h"
#include "light/hemisphere_picture.h"
#include "light/light_state.h"
#include "light/light_walk.h"
#include "light/splats.h"

class Gather {
public:
    /// What is asked for: without colours, the answer's indirect light is black.
    enum class Wanted { kOcclusion, kColoursToo };

    /// Caller: the arguments are sound. False: not everything could be read.
    bool Run(const std::vector<LightFile>& files, PtcThreadCache* cache, const PtcPlace& place,
             const PtcGathering& settings, Wanted wanted, PtcGathered* gathered);

    // What LightWalk calls.
    LightNodeUse Look(const LightFile& file, const PtcNode& node);
    void Take(const LightFile& file, const PtcPoint* points, std::int32_t count);

private:
    /// A surface that is seen: where, how much from either side, its front areas times colours, and
    /// what part of it is within reach.
    struct Seen {
        Vec3f at;
        float squared_distance;
        float front, back;
        Vec3f power;
        float share;
    };

    void Begin(const PtcPlace& place, const PtcGathering& settings);
    void TakeGroup(const LightFile& file, const float* data, four_lanes::Floats centre,
                   float squared, float squared_radius);
    void TakePoint(const LightFile& file, const PtcPoint& point);
    void TakeDisc(const LightFile& file, const PtcPoint& point, Vec3f centre, Vec3f normal);
    void Add(const Seen& seen);

    LightWalk walk_;
    HemisphereMap map_;
    Splats splats_;
    DiscCaster discs_;
    HemispherePicture picture_;

    // Of the present place.
    LightFrame frame_;
    Vec3f place_;
    four_lanes::Floats place_lanes_{}, normal_lanes_{};
    float reach_ = 0;
    float squared_reach_ = 0;
    float squares_per_radius_ = 0;  ///< a group's squared distance is at least this, times the
                                    ///< squared radius of its box
    float disc_limit_ = 0;          ///< squared ratio of radius and distance of the discs
    bool fronts_hide_ = true;
    bool backs_hide_ = true;
    bool wants_colours_ = true;
};
