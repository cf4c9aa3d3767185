// Subsurface: light that leaves a material at one place, summed over the points and groups of all
// clouds.
//
// Units      those of ptc/light.h.
// Errors     throws std::bad_alloc.
// Ownership  owns its memory, which stays for the next place.
// Threads    one caller at a time.
//
// The sums are in double precision, in the order of the files and of their octrees, so nothing but
// these, the place and the material is in an answer.

#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "light/dipole_table.h"
#include "light/light_state.h"
#include "light/light_walk.h"

class Subsurface {
public:
    /// `light`: 3 floats. Caller: the arguments are sound. False: not everything could be read.
    bool Run(const std::vector<LightFile>& files, PtcThreadCache* cache, const float* position,
             const PtcSubsurface& material, float* light);

    // What LightWalk calls.
    LightNodeUse Look(const LightFile& file, const PtcNode& node);
    void Take(const LightFile& file, const PtcPoint* points, std::int32_t count);

private:
    void TakePoint(const LightFile& file, const PtcPoint& point);

    LightWalk walk_;
    DipoleTable dipoles_;
    std::array<double, 3> place_{};
    std::array<double, 3> sums_{};
    double group_limit_ = 0;  ///< greatest squared ratio of a group's radius and its distance
};
