// Particles: dust that floats in the upper part of the room, each speck a grid of one sample.
//
// Units      world units.
// Errors     none.
// Ownership  holds only numbers.
// Threads    see Surface.

#pragma once

#include "tools/scene/surface.h"

namespace scene {

/// A speck is made when it is diced, from its number alone, so any count needs no memory.
/// Rays pass through them: dust neither hides nor lights anything.
class Particles : public Surface {
public:
    /// The specks turn towards `target`, and are as large as a micropolygon of `size`.
    Particles(std::uint32_t count, float size, Vec3f target);

    std::uint32_t GridCount() const override { return count_; }
    void Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const override;
    TriangleMesh Tessellate() const override { return {}; }
    SurfacePoint At(const TrianglePlace&) const override { return {}; }

private:
    const std::uint32_t count_;
    const float size_;
    const Vec3f target_;
};

}  // namespace scene
