// ViewCamera: where in the picture a disc of the cloud lands.
//
// World space is left-handed where it has to be named: x right, y up, z away from the eye. Points
// are row vectors multiplied from the left. Everything that a picture needs of a point p is linear
// in (p, 1) up to one division:
//
//   raster x = (p, 1) . x / ((p, 1) . w)     pixels to the right
//   raster y = (p, 1) . y / ((p, 1) . w)     pixels downwards
//   nearness = (p, 1) . near / ((p, 1) . w)  larger is nearer to the eye
//
// In perspective `near` is the constant 1, so nearness is one over the depth; without perspective
// it is the depth's opposite. All three run linearly across the picture of a plane.
//
// Units      world units; raster positions in samples, see Frame.
// Errors     see each function.
// Ownership  holds only numbers.
// Threads    does not change once made.

#pragma once

#include <array>
#include <optional>
#include <span>

#include "util/math/vec3.h"

namespace view {

/// One linear form of (p, 1).
struct LinearForm {
    Vec3d direction;
    double constant = 0;

    double At(const Vec3d& p) const { return Dot(p, direction) + constant; }
};

/// A box around points.
struct Bounds {
    Vec3d low;
    Vec3d high;
};

/// Where normalised device coordinates, -1 to 1, land: a rectangle with its corner at (0, 0), and
/// in its middle the largest frame of the given shape.
struct Frame {
    double width = 0;   ///< samples
    double height = 0;  ///< likewise
    double aspect = 1;  ///< width over height of what -1 to 1 covers
};

struct ViewCamera {
    LinearForm x;
    LinearForm y;
    LinearForm w;
    LinearForm near;

    /// Whether the point is before the eye and, when it is, where.
    bool Project(const Vec3d& p, double* raster_x, double* raster_y) const;

    /// How fast nearness changes with a step in the world at depth `w`.
    double NearnessSlope(double w_there) const;
};

/// The camera of a file's world_to_ndc. Nothing when it is not a camera: not finite, not
/// invertible, or the identity, which stands for "not given".
std::optional<ViewCamera> CameraOfMatrix(std::span<const float, 16> world_to_ndc,
                                         const Frame& frame);

/// Where a fitted camera is: turned about the vertical axis to the right, then raised, both in
/// degrees; 0 and 0 look along z.
struct Direction {
    double turn = 30;
    double tilt = 20;
};

/// A camera in perspective whose picture shows all of `box`, as large as possible.
/// Caller: the box is finite.
ViewCamera FittedCamera(const Bounds& box, const Direction& direction, const Frame& frame);

}  // namespace view
