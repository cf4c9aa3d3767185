// Gather: what is seen from a place, drawn into a map of the hemisphere.
//
// A walk collects what is seen: groups and small points as squares, large points as discs, which
// are cast: tested against the rays of the cells. Both are then drawn, the nearest first.
//
// Units      those of ptc/light.h; directions and positions relative to the place, in its frame:
//            z is along the normal.
// Errors     throws std::bad_alloc.
// Ownership  owns its memory, which stays for the next place.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "light/hemisphere_map.h"
#include "light/light_state.h"
#include "light/light_walk.h"
#include "util/math/vec3.h"
#include "util/stats/hres_clock.h"

class Gather {
public:
    /// Caller: the arguments are sound. False: not everything could be read.
    bool Run(const std::vector<LightFile>& files, PtcThreadCache* cache, const PtcPlace& place,
             const PtcGathering& settings, PtcGathered* gathered);

    // What LightWalk calls.
    LightNodeUse Look(const LightFile& file, const PtcNode& node);
    void Take(const LightFile& file, const PtcPoint* points, std::int32_t count);

private:
    /// A flat thing that is drawn: a rectangle of the map in polar coordinates, or one ray.
    struct Splat {
        float inner, outer;  ///< radii; of a ray, `cell` is set
        float begin, end;    ///< turns
        float distance;
        float front, back;  ///< parts of the rectangle that fronts and backs fill
        Vec3f colour;       ///< of the fronts
        std::int32_t cell;  ///< of a ray that hits; below 0: a rectangle
    };
    /// A point whose disc is tested against rays.
    struct Disc {
        Vec3f centre, normal;
        float squared_radius;
        Vec3f colour;
    };
    /// What surfaces look like from the place.
    struct Seen {
        Vec3f at;       ///< its centre
        float squared;  ///< distance
        float front;    ///< area that is seen from the front
        float back;
        Vec3f power;  ///< sum of front area times colour
        float share;  ///< of it that is within reach
    };
    struct Cell {
        float fronts, backs;
        float cast;  ///< filled by rays
        float filled;
        float hidden;  ///< with the fall-off
        Vec3f colour;
    };

    Vec3f ToFrame(Vec3f v) const { return {Dot(v, tangent_), Dot(v, bitangent_), Dot(v, normal_)}; }

    void Begin(const PtcPlace& place, const PtcGathering& settings);
    void AddSplat(const Seen& seen);
    void TakePoint(const LightFile& file, const PtcPoint& point);
    void CastAll();
    void Cast(const Disc& disc, std::int32_t number);
    void SortSplats();
    void Draw();
    void DrawRectangle(const Splat& splat, float hides);
    void Fill(Cell& cell, float front, float back, const Splat& splat, float hides);
    float HidingAt(float distance) const;
    void Finish(PtcGathered* gathered) const;

    LightWalk walk_;
    HemisphereMap map_;
    PtcGathering settings_;
    Vec3f place_, tangent_, bitangent_, normal_;
    float reach_ = 0;
    float squared_reach_ = 0;
    float disc_limit_ = 0;  ///< squared ratio of radius and distance from which discs are cast
    std::vector<Splat> splats_;
    std::vector<Disc> discs_;
    std::vector<float> hit_distance_;     ///< of each ray
    std::vector<std::int32_t> hit_disc_;  ///< below 0: seen from behind, or nothing
    std::vector<Cell> cells_;
    std::vector<std::uint32_t> order_;  ///< of the splats
    std::vector<std::uint32_t> buckets_;
};
