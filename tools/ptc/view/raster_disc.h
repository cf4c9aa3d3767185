// RasterDisc: a disc in space as a camera sees it.
//
// Units      world units for discs, samples for the raster.
// Errors     none; see See().
// Ownership  holds only numbers.
// Threads    any.

#pragma once

#include "tools/ptc/view/view_camera.h"
#include "util/math/vec3.h"

namespace view {

/// Samples along a pixel's side.
inline constexpr int kPixelSide = 3;
/// Discs that look smaller are drawn as dots of this radius, in samples.
inline constexpr double kDotRadius = 0.65 * kPixelSide;

/// All of it is finite, the radius not negative.
struct Disc {
    Vec3d centre;
    Vec3d normal;  ///< of any length; the null vector: the disc faces the eye
    double radius = 0;
};

/// A disc as the camera sees it; raster_disc.cpp says what the numbers mean.
struct RasterDisc {
    double x, y;  ///< of the centre

    double ax, ay, aw, a_near;
    double bx, by, bw, b_near;
    double cw, c_near;

    double half_width, half_height;  ///< of a box around the centre that holds the disc
    double bend;                     ///< nearness that the edge loses

    /// Takes the numbers of `disc`. False: the disc is not before the eye as a whole. The part that
    /// is would have no bounds.
    bool See(const ViewCamera& camera, const Disc& disc);
};

/// The line of sight through the raster place (`x`, `y`): along it neither of the two changes.
Vec3d LineOfSight(const ViewCamera& camera, double x, double y);

}  // namespace view
