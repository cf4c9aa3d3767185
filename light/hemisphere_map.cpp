// HemisphereMap: its tables.

#include "light/hemisphere_map.h"

#include <algorithm>
#include <cmath>

#include "util/math/sine_cosine.h"

namespace {

constexpr float kTurn = 6.2831853f;

/// The direction at a radius of the map and an angle in turns.
Vec3f DirectionAt(float radius, float turns, float sine_of_cone) {
    const float along = radius * sine_of_cone;
    const sine_cosine::Pair angle = sine_cosine::Of(turns * kTurn);
    return {angle.cosine * along, angle.sine * along, std::sqrt(std::max(0.0f, 1 - along * along))};
}

}  // namespace

void HemisphereMap::Set(int pixels, float sine_of_cone) {
    if (pixels == pixels_ && sine_of_cone == sine_of_cone_) return;
    pixels_ = 0;  // in case memory runs out
    const int rings = (pixels + 1) / 2;
    ring_width_ = 1 / static_cast<float>(rings);
    rings_.clear();
    weights_.clear();
    directions_.clear();
    x_.clear();
    y_.clear();
    z_.clear();
    cells_ = 0;
    for (int k = 0; k < rings; ++k) {
        Ring ring;
        ring.inner = static_cast<float>(k) * ring_width_;
        ring.outer = static_cast<float>(k + 1) * ring_width_;
        // Cells of area (2 / pixels)^2, of which the disc has pi / 4 * pixels^2.
        ring.cells =
            static_cast<std::int32_t>(std::lround(3.1415927f * static_cast<float>(2 * k + 1)));
        ring.first = cells_;
        const float area = ring.outer * ring.outer - ring.inner * ring.inner;
        const auto count = static_cast<float>(ring.cells);
        ring.cells_per_area = 1 / area;
        ring.cells_per_turn = count;
        cells_ += ring.cells;
        for (int c = 0; c < ring.cells; ++c) {
            const auto at = [&](float across, float around) {
                const float square = ring.inner * ring.inner + area * across;
                return DirectionAt(std::sqrt(square), (static_cast<float>(c) + around) / count,
                                   sine_of_cone);
            };
            weights_.push_back(area / count);
            directions_.push_back(at(0.5f, 0.5f));
            for (std::size_t ray = 0; ray < kRays; ++ray) {
                const Vec3f direction = at(ray & 1 ? 0.75f : 0.25f, ray & 2 ? 0.75f : 0.25f);
                x_.push_back(direction.x);
                y_.push_back(direction.y);
                z_.push_back(direction.z);
            }
        }
        rings_.push_back(ring);
    }
    pixels_ = pixels;
    sine_of_cone_ = sine_of_cone;
}
