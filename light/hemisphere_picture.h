// HemispherePicture: splats drawn into the cells of a map, the nearest first.
//
// Parts of a cell that splats fill add up until it is full. Of what is far away, fronts and backs
// are those of the same bodies, so the larger of the two sums counts.
//
// Units      those of ptc/light.h.
// Errors     throws std::bad_alloc.
// Ownership  owns its cells, whose memory stays for the next place.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "light/four_lanes.h"
#include "light/hemisphere_map.h"
#include "light/splats.h"
#include "ptc/light.h"

class HemispherePicture {
public:
    /// How much a surface hides by its distance: (1 - distance / within)^power.
    struct FallOff {
        float within;
        float power;

        float At(float distance) const;
    };

    /// Caller: the rows of `splats` are placed.
    void Draw(const HemisphereMap& map, const FallOff& fall_off, Splats* splats);

    /// The means over the cells; the open direction in the place's frame, of any length.
    struct Means {
        float hidden = 0;
        Vec3f open;
        Vec3f colour;
    };
    Means MeansOf(const HemisphereMap& map) const;

private:
    struct Cell {
        four_lanes::Floats seen;  ///< red, green, blue, and what hides with the fall-off
        float fronts, backs;
        float cast;    ///< filled by rays
        float filled;  ///< as far as hiding goes
        float lit;     ///< as far as colours go
    };
    /// What fills a cell: a square's fronts and backs, and what is seen of it, as in Cell.
    struct Filling {
        float front, back;
        four_lanes::Floats seen;
    };

    void DrawSquare(const HemisphereMap& map, const Splats& splats, std::size_t row,
                    const Filling& whole);
    void Fill(Cell* cell, float front, float back, four_lanes::Floats seen);

    std::vector<Cell> cells_;
    int open_cells_ = 0;  ///< with room for more
};
