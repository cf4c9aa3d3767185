// RasterDisc: a disc's plane as linear forms of the raster.
//
// A point of the disc's plane is c + u a + v b, where a and b are as long as the radius and at
// right angles. Seen by the camera each of c, a, b has an x, a y and a w, with x and y taken
// relative to the centre's place, so that c has none. The point is at the raster place (x, y) with
//
//   x = (u ax + v bx) / w    y = (u ay + v by) / w    w = cw + u aw + v bw
//
// Written in u' = u / w, v' = v / w and t = 1 / w, this is a linear system in (x, y): two equations
// for u' and v', then t from the third. The disc is where u'^2 + v'^2 <= t^2.

#include "tools/ptc/view/raster_disc.h"

#include <cmath>

namespace view {

namespace {

/// How far a disc's edge is bent away from the eye, in radii. On a ball the edges of its discs
/// stick out by r / 2R of their radius and would hide their neighbours' middles; this is enough for
/// discs of half the ball's radius.
constexpr double kBend = 0.25;
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

}  // namespace

bool RasterDisc::See(const ViewCamera& camera, const Disc& disc) {
    if (!camera.Project(disc.centre, &x, &y)) return false;
    const bool has_normal = Dot(disc.normal, disc.normal) > 0;
    Vec3d axis = has_normal ? disc.normal : LineOfSight(camera, x, y);
    axis = axis * (1 / Length(axis));
    const Vec3d a = AnyPerpendicular(axis) * disc.radius;
    const Vec3d b = Cross(axis, a);

    // Directions have no constant part; taking off the centre's place times w leaves x and y
    // relative to it, which keeps the digits that count for a small disc far from the corner.
    aw = Dot(a, camera.w.direction);
    bw = Dot(b, camera.w.direction);
    cw = camera.w.At(disc.centre);
    ax = Dot(a, camera.x.direction) - x * aw;
    bx = Dot(b, camera.x.direction) - x * bw;
    ay = Dot(a, camera.y.direction) - y * aw;
    by = Dot(b, camera.y.direction) - y * bw;
    a_near = Dot(a, camera.near.direction);
    b_near = Dot(b, camera.near.direction);
    c_near = camera.near.At(disc.centre);
    bend = kBend * disc.radius * camera.NearnessSlope(cw);

    const double reach = std::sqrt(aw * aw + bw * bw);
    if (!(cw - reach > kReachesEye * cw)) return false;
    // The ellipse's extremes are no farther out than the two axes at the nearest depth.
    const double nearest = cw - reach;
    half_width = std::sqrt(ax * ax + bx * bx) / nearest;
    half_height = std::sqrt(ay * ay + by * by) / nearest;
    return true;
}

Vec3d LineOfSight(const ViewCamera& camera, double x, double y) {
    return Cross(camera.x.direction - camera.w.direction * x,
                 camera.y.direction - camera.w.direction * y);
}

}  // namespace view
