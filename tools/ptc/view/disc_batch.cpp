// DiscBatch: projecting centres, and telling dots from discs.

#include "tools/ptc/view/disc_batch.h"

#include <algorithm>
#include <cmath>

namespace view {

namespace {

/// The most that a step of length 1 at depth 1 moves across the raster, at any place along an axis
/// of `samples`. The length of a linear function of the place is greatest at one of its ends.
double MostSlope(const ViewCamera& camera, const LinearForm& axis, int samples) {
    const double end = samples + kDotReach;
    const double slope = std::max(Length(axis.direction + camera.w.direction * kDotReach),
                                  Length(axis.direction - camera.w.direction * end));
    constexpr double kSlack = 1e-9;
    return slope * (1 + kSlack) +
           (Length(axis.direction) + Length(camera.w.direction) * end) * kSlack;
}

/// Whether the line of sight has a direction after rounding. Without one a disc that faces the eye
/// is not drawn.
bool HasDirection(const Vec3d& sight) {
    const double square = Dot(sight, sight);
    return square > 1e-200 && square < 1e200;
}

}  // namespace

/// A disc may also reach to a quarter of its depth at most. So it is well before the eye's plane,
/// and its half box grows by less than a third of what its centre is off the canvas.
DotLimit::DotLimit(const ViewCamera& camera, int width, int height) {
    const double to_eye = Length(camera.w.direction) * (1 + 1e-9);
    const double slope =
        std::max(MostSlope(camera, camera.x, width), MostSlope(camera, camera.y, height));
    slope_ = std::max(slope / kDotRadius * (1 + 1e-9) + to_eye, 4 * to_eye);
}

void DiscBatch::Add(const Vec3d& centre, double radius, bool has_normal, std::size_t tag) {
    x_[count_] = centre.x;
    y_[count_] = centre.y;
    z_[count_] = centre.z;
    radius_[count_] = radius;
    has_normal_[count_] = has_normal;
    tag_[count_++] = tag;
}

void DiscBatch::Project(const ViewCamera& camera, const DotLimit& limit, int width, int height) {
    // Locals, so that the compiler keeps them in registers; each loop does two points at a time.
    const ViewCamera seen = camera;
    for (std::size_t i = 0; i < count_; ++i) {
        const Vec3d centre = {x_[i], y_[i], z_[i]};
        depth_[i] = seen.w.At(centre);
        raster_x_[i] = seen.x.At(centre) / depth_[i];
        raster_y_[i] = seen.y.At(centre) / depth_[i];
        nearness_[i] = static_cast<float>(seen.near.At(centre) / depth_[i]);
    }
    for (std::size_t i = 0; i < count_; ++i) {
        const double x = raster_x_[i], y = raster_y_[i];
        kind_[i] = DiscKind::kOther;
        if (!(depth_[i] > 0)) {
            kind_[i] = DiscKind::kNothing;
        } else if (limit.IsBelow(radius_[i], depth_[i])) {
            if (HoldsDot(x, y, width, height)) {
                if (has_normal_[i] || HasDirection(LineOfSight(seen, x, y)))
                    kind_[i] = DiscKind::kDot;
            } else if (x < -kDotReach || x > width + kDotReach || y < -kDotReach ||
                       y > height + kDotReach) {
                kind_[i] = DiscKind::kNothing;
            }
        }
    }
}

}  // namespace view
