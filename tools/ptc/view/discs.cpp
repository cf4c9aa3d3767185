// DiscCanvas: which samples a disc covers, and how near it is there.
//
// A point of the disc's plane is c + u a + v b, where a and b are as long as the radius and at
// right angles. Seen by the camera each of c, a, b has an x, a y and a w, with x and y taken
// relative to the centre's place, so that c has none. The point is at the raster place (x, y) with
//
//   x = (u ax + v bx) / w    y = (u ay + v by) / w    w = cw + u aw + v bw
//
// Written in u' = u / w, v' = v / w and t = 1 / w, this is a linear system in (x, y): two equations
// for u' and v', then t from the third. The disc is where u'^2 + v'^2 <= t^2.

#include "tools/ptc/view/discs.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace view {

namespace {

/// How far a disc's edge is bent away from the eye, in radii. On a ball the edges of its discs
/// stick out by r / 2R of their radius and would hide their neighbours' middles; this is enough for
/// discs of half the ball's radius.
constexpr double kBend = 0.25;
/// Discs that look smaller are drawn as dots of this radius, in samples.
constexpr double kDotRadius = 0.65 * DiscCanvas::kSide;
/// A disc whose near edge has less than this part of its centre's depth reaches the eye.
constexpr double kReachesEye = 0.01;

/// A unit vector at right angles to `axis`, which is not null.
Vec3d AnyPerpendicular(const Vec3d& axis) {
    const double x = std::fabs(axis.x), y = std::fabs(axis.y), z = std::fabs(axis.z);
    const Vec3d other = x <= y && x <= z ? Vec3d{1, 0, 0}
                        : y <= z         ? Vec3d{0, 1, 0}
                                         : Vec3d{0, 0, 1};
    const Vec3d perpendicular = Cross(axis, other);
    return perpendicular * (1 / Length(perpendicular));
}

/// The line of sight through the raster place (`x`, `y`): along it neither of the two changes.
Vec3d LineOfSight(const ViewCamera& camera, double x, double y) {
    return Cross(camera.x.direction - camera.w.direction * x,
                 camera.y.direction - camera.w.direction * y);
}

}  // namespace

/// A disc as the camera sees it; see above.
struct DiscCanvas::RasterDisc {
    double x, y;  ///< of the centre

    double ax, ay, aw, a_near;
    double bx, by, bw, b_near;
    double cw, c_near;

    double half_width, half_height;  ///< of a box around the centre that holds the disc
    double bend;                     ///< nearness that the edge loses
};

/// Samples from x0 to x1 and y0 to y1, both included.
struct DiscCanvas::Box {
    int x0, y0, x1, y1;
};

DiscCanvas::DiscCanvas(int width, int height)
    : width_(width * kSide),
      height_(height * kSide),
      samples_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_),
               Sample{-std::numeric_limits<float>::infinity(), {}}) {}

/// False: the disc is not before the eye as a whole. The part that is would have no bounds.
bool DiscCanvas::ToRaster(const ViewCamera& camera, const Disc& disc, RasterDisc* raster) {
    if (!camera.Project(disc.centre, &raster->x, &raster->y)) return false;
    const bool has_normal = Dot(disc.normal, disc.normal) > 0;
    Vec3d axis = has_normal ? disc.normal : LineOfSight(camera, raster->x, raster->y);
    axis = axis * (1 / Length(axis));
    const Vec3d a = AnyPerpendicular(axis) * disc.radius;
    const Vec3d b = Cross(axis, a);

    // Directions have no constant part; taking off the centre's place times w leaves x and y
    // relative to it, which keeps the digits that count for a small disc far from the corner.
    raster->aw = Dot(a, camera.w.direction);
    raster->bw = Dot(b, camera.w.direction);
    raster->cw = camera.w.At(disc.centre);
    raster->ax = Dot(a, camera.x.direction) - raster->x * raster->aw;
    raster->bx = Dot(b, camera.x.direction) - raster->x * raster->bw;
    raster->ay = Dot(a, camera.y.direction) - raster->y * raster->aw;
    raster->by = Dot(b, camera.y.direction) - raster->y * raster->bw;
    raster->a_near = Dot(a, camera.near.direction);
    raster->b_near = Dot(b, camera.near.direction);
    raster->c_near = camera.near.At(disc.centre);
    raster->bend = kBend * disc.radius * camera.NearnessSlope(raster->cw);

    const double reach = std::sqrt(raster->aw * raster->aw + raster->bw * raster->bw);
    if (!(raster->cw - reach > kReachesEye * raster->cw)) return false;
    // The ellipse's extremes are no farther out than the two axes at the nearest depth.
    const double nearest = raster->cw - reach;
    raster->half_width = std::sqrt(raster->ax * raster->ax + raster->bx * raster->bx) / nearest;
    raster->half_height = std::sqrt(raster->ay * raster->ay + raster->by * raster->by) / nearest;
    return true;
}

/// The box of samples around the disc, or around a dot in its place. False: none is on the canvas.
bool DiscCanvas::Clip(const RasterDisc& disc, Box* box) const {
    const double half_width = std::max(disc.half_width, kDotRadius);
    const double half_height = std::max(disc.half_height, kDotRadius);
    const double left = disc.x - half_width, right = disc.x + half_width;
    const double top = disc.y - half_height, bottom = disc.y + half_height;
    // Written so that a NaN is outside.
    if (!(left < width_ && right > 0 && top < height_ && bottom > 0)) return false;
    *box = {static_cast<int>(std::max(left, 0.0)), static_cast<int>(std::max(top, 0.0)),
            static_cast<int>(std::min(right, width_ - 1.0)),
            static_cast<int>(std::min(bottom, height_ - 1.0))};
    return true;
}

/// Of equally near ones the first stays, so that the file's order settles what nothing else does.
void DiscCanvas::Cover(int x, int y, double nearness, Rgb colour) {
    Sample& sample = samples_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                              static_cast<std::size_t>(x)];
    const auto rounded = static_cast<float>(nearness);
    if (rounded > sample.nearness) sample = {rounded, colour};
}

void DiscCanvas::DrawFace(const RasterDisc& disc, const Box& box, Rgb colour) {
    const double determinant = disc.ax * disc.by - disc.ay * disc.bx;
    const double scale = 1 / determinant;  // infinite for a disc seen on edge, which covers nothing
    for (int y = box.y0; y <= box.y1; ++y) {
        const double dy = y + 0.5 - disc.y;
        for (int x = box.x0; x <= box.x1; ++x) {
            const double dx = x + 0.5 - disc.x;
            const double u = (dx * disc.by - dy * disc.bx) * scale;
            const double v = (dy * disc.ax - dx * disc.ay) * scale;
            const double t = (1 - disc.aw * u - disc.bw * v) / disc.cw;
            const double square = u * u + v * v;
            if (!(t > 0 && square <= t * t)) continue;
            const double nearness = disc.a_near * u + disc.b_near * v + disc.c_near * t;
            Cover(x, y, nearness - disc.bend * square / (t * t), colour);
        }
    }
}

/// A round dot of fixed size, as near everywhere as the disc's centre.
void DiscCanvas::DrawDot(const RasterDisc& disc, const Box& box, Rgb colour) {
    for (int y = box.y0; y <= box.y1; ++y) {
        for (int x = box.x0; x <= box.x1; ++x) {
            const double dx = x + 0.5 - disc.x;
            const double dy = y + 0.5 - disc.y;
            if (dx * dx + dy * dy <= kDotRadius * kDotRadius)
                Cover(x, y, disc.c_near / disc.cw, colour);
        }
    }
}

void DiscCanvas::Draw(const ViewCamera& camera, const Disc& disc, Rgb colour) {
    RasterDisc raster;
    Box box;
    if (!ToRaster(camera, disc, &raster) || !Clip(raster, &box)) return;
    if (std::max(raster.half_width, raster.half_height) < kDotRadius) {
        DrawDot(raster, box, colour);
    } else {
        DrawFace(raster, box, colour);
    }
}

/// A lens adds up light. The mean of the screen's bytes would make edges look too dark.
Light DiscCanvas::MeanLight(int x, int y, const Light& behind, const Srgb& srgb) const {
    Light sum;
    for (int row = y * kSide; row < (y + 1) * kSide; ++row) {
        const Sample* sample =
            &samples_[static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) +
                      static_cast<std::size_t>(x * kSide)];
        for (int column = 0; column < kSide; ++column, ++sample) {
            const bool is_covered = sample->nearness > -std::numeric_limits<float>::infinity();
            const Light light = is_covered ? srgb.Decode(sample->colour) : behind;
            sum = {sum.r + light.r, sum.g + light.g, sum.b + light.b};
        }
    }
    constexpr float kShare = 1.0f / (kSide * kSide);
    return {sum.r * kShare, sum.g * kShare, sum.b * kShare};
}

void DiscCanvas::PutOnto(Picture* picture, const Srgb& srgb) const {
    const int last_x = std::min(picture->Width(), width_ / kSide);
    const int last_y = std::min(picture->Height(), height_ / kSide);
    for (int y = 0; y < last_y; ++y)
        for (int x = 0; x < last_x; ++x) {
            const Light behind = srgb.Decode(picture->At(x, y));
            picture->Set(x, y, srgb.Encode(MeanLight(x, y, behind, srgb)));
        }
}

}  // namespace view
