// Camera: the perspective view of the room that a render is made through.
//
// World, eye and screen share their directions: x right, y up, z away from the eye (left-handed).
// The eye is on the z axis in front of the room and looks straight along z. Points are row
// vectors multiplied from the left, p * M, M row-major with the translation in elements 12 to 14.
//
//   eye = p * WorldToEye()             eye.z is the depth
//   clip = (p, 1) * WorldToNdc()       clip.w is the depth as well
//   ndc = clip.xyz / clip.w            x and y from -1 to 1 across the picture, z from 0 to 1
//   raster.x = (1 + ndc.x) / 2 * width, raster.y = (1 - ndc.y) / 2 * height: y runs downwards
//
// The view is straight, so the depth depends on z alone, by elements 11 and 15 of WorldToNdc().
// A driver that measures in raster space uses only these for the depth.
//
// Units      world units; raster positions and radii in pixels.
// Errors     none; width and height are at least 1.
// Ownership  holds only numbers.
// Threads    does not change once made; any number of threads may read it.

#pragma once

#include <array>

#include "util/math/vec3.h"

namespace scene {

using Matrix = std::array<float, 16>;

/// A rectangle of the raster.
struct RasterBox {
    float x0, y0, x1, y1;
};

class Camera {
public:
    /// Shows the room's open front as large as the picture has space for. Pixels are square.
    Camera(int width, int height);

    /// Where the eye is in the world, for any size of the picture.
    static Vec3f Eye();

    int Width() const { return width_; }
    int Height() const { return height_; }
    const Matrix& WorldToEye() const { return world_to_eye_; }
    const Matrix& WorldToNdc() const { return world_to_ndc_; }

    /// The direction of unit length from the eye through a place of the raster.
    Vec3f DirectionThrough(float x, float y) const;

    /// How wide a pixel is at a depth of 1.
    float PixelAngle() const;

    /// The rectangle that a disc facing the eye covers. Caller: the disc is in the room, and so in
    /// front of the eye.
    RasterBox Cover(Vec3f centre, float radius) const;

private:
    const int width_;
    const int height_;
    Matrix world_to_eye_;
    Matrix world_to_ndc_;
};

}  // namespace scene
