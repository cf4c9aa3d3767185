// DiscCaster: the discs that are too large to be squares, tested against the rays of a map.
//
// Units      positions relative to the place, in its frame.
// Errors     throws std::bad_alloc.
// Ownership  owns discs and hits, whose memory stays for the next place.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "light/hemisphere_map.h"
#include "light/splats.h"
#include "util/math/vec3.h"

/// A point as it is: it hides from both sides, and its front shines.
struct LightDisc {
    Vec3f centre, normal;
    float squared_radius;
    Vec3f colour;
};

class DiscCaster {
public:
    void Clear() { discs_.clear(); }
    void Add(const LightDisc& disc) { discs_.push_back(disc); }

    /// Adds a row to `splats` for every ray that hits a disc nearer than `reach`: the nearest one.
    /// Its inner radius is RowOfCell() of the ray's cell.
    void Cast(const HemisphereMap& map, float reach, Splats* splats);

    // Of a row's inner radius.
    static float RowOfCell(std::int32_t cell) { return static_cast<float>(-1 - cell); }
    static bool IsHit(float inner) { return inner < 0; }
    static std::int32_t CellOf(float inner) { return -1 - static_cast<std::int32_t>(inner); }

private:
    void CastOne(const HemisphereMap& map, std::int32_t number);
    void Test(const HemisphereMap& map, std::int32_t number, std::int32_t first, std::int32_t end);

    std::vector<LightDisc> discs_;
    std::vector<float> distances_;       ///< of each ray's hit
    std::vector<std::int32_t> nearest_;  ///< the disc that each ray hits, or one of those below
    static constexpr std::int32_t kNothing = -1;
    static constexpr std::int32_t kFromBehind = -2;
};
