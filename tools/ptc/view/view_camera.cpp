// ViewCamera: from a file's matrix, and around a box.

#include "tools/ptc/view/view_camera.h"

#include <algorithm>
#include <cmath>

#include "util/math/matrix.h"
#include "util/math/sine_cosine.h"

namespace view {

namespace {

/// How far a fitted camera is from a box's middle, in half diagonals of the box: all of the box is
/// well before the eye, and seen within 40 degrees.
constexpr double kDistance = 2.92;
/// How much of a fitted picture's half side the box takes.
constexpr double kFill = 0.96;

LinearForm operator*(const LinearForm& form, double s) {
    return {form.direction * s, form.constant * s};
}
LinearForm operator+(const LinearForm& a, const LinearForm& b) {
    return {a.direction + b.direction, a.constant + b.constant};
}

/// What multiplying (p, 1) by the matrix gives in one column.
LinearForm Column(std::span<const float, 16> matrix, std::size_t column) {
    return {{matrix[column], matrix[4 + column], matrix[8 + column]}, matrix[12 + column]};
}

/// Normalised device coordinates to samples: y turns over, the middle stays in the middle.
void ToRaster(const Frame& frame, ViewCamera* camera) {
    const double half_width = std::min(frame.width, frame.height * frame.aspect) / 2;
    const double half_height = half_width / frame.aspect;
    camera->x = camera->x * half_width + camera->w * (frame.width / 2);
    camera->y = camera->y * -half_height + camera->w * (frame.height / 2);
}

/// A fitted camera's directions in the world.
struct Axes {
    Vec3d right;
    Vec3d up;
    Vec3d ahead;
};

/// Sines and cosines are the same bits on every machine, and so is the picture.
Axes AxesOf(const Direction& direction) {
    constexpr double kRadians = 3.14159265358979323846 / 180;
    const auto turn = sine_cosine::Of(static_cast<float>(direction.turn * kRadians));
    const auto tilt = sine_cosine::Of(static_cast<float>(direction.tilt * kRadians));
    const double cos_turn = turn.cosine, sin_turn = turn.sine;
    const double cos_tilt = tilt.cosine, sin_tilt = tilt.sine;
    return {{cos_turn, 0, sin_turn},
            {-sin_turn * sin_tilt, cos_tilt, cos_turn * sin_tilt},
            {-sin_turn * cos_tilt, -sin_tilt, cos_turn * cos_tilt}};
}

/// Whether the matrix can be one of a camera; a reader's caller has to ask, because a host that
/// sends none leaves the identity in the file.
bool IsCamera(std::span<const float, 16> matrix) {
    bool is_identity = true;
    for (std::size_t i = 0; i < matrix.size(); ++i) {
        if (!std::isfinite(matrix[i])) return false;
        is_identity &= matrix[i] == (i % 5 == 0 ? 1.0f : 0.0f);
    }
    if (is_identity) return false;
    const float determinant = MxDeterminant(matrix);
    return std::isfinite(determinant) && determinant != 0;
}

}  // namespace

bool ViewCamera::Project(const Vec3d& p, double* raster_x, double* raster_y) const {
    const double depth = w.At(p);
    if (!(depth > 0)) return false;
    *raster_x = x.At(p) / depth;
    *raster_y = y.At(p) / depth;
    return true;
}

double ViewCamera::NearnessSlope(double w_there) const {
    // The quotient rule; one of the two gradients is null.
    return (Length(near.direction) * w_there + Length(w.direction) * std::fabs(near.constant)) /
           (w_there * w_there);
}

std::optional<ViewCamera> CameraOfMatrix(std::span<const float, 16> world_to_ndc,
                                         const Frame& frame) {
    if (!IsCamera(world_to_ndc)) return std::nullopt;
    ViewCamera camera{
        Column(world_to_ndc, 0), Column(world_to_ndc, 1), Column(world_to_ndc, 3), {}};
    // Without perspective only the depth says what is near. With it the depth is w, and what the
    // third column makes of it differs between renderers.
    const bool is_perspective = Length(camera.w.direction) > 0;
    camera.near = is_perspective ? LinearForm{{}, 1} : Column(world_to_ndc, 2) * -1;
    ToRaster(frame, &camera);
    return camera;
}

ViewCamera FittedCamera(const Bounds& box, const Direction& direction, const Frame& frame) {
    const Axes axes = AxesOf(direction);
    const Vec3d middle = (box.low + box.high) * 0.5;
    // A single point without a radius has no size to go by; any distance shows it.
    const double radius = Length(box.high - box.low) / 2;
    const double distance = radius > 0 ? kDistance * radius : 1.0;
    const auto along = [&](const Vec3d& axis) { return LinearForm{axis, -Dot(axis, middle)}; };
    ViewCamera camera{along(axes.right), along(axes.up), along(axes.ahead), {{}, 1}};
    camera.w.constant += distance;

    // The part of the plane at depth 1 that the box covers; never nothing, even for a cloud seen
    // along a line.
    double left = 0, right = 0, bottom = 0, top = 0;
    for (int corner = 0; corner < 8; ++corner) {
        const Vec3d p = {corner & 1 ? box.high.x : box.low.x, corner & 2 ? box.high.y : box.low.y,
                         corner & 4 ? box.high.z : box.low.z};
        double x = 0, y = 0;
        camera.Project(p, &x, &y);
        left = std::min(left, x);
        right = std::max(right, x);
        bottom = std::min(bottom, y);
        top = std::max(top, y);
    }
    const double least = 0.001 / kDistance;
    const double half_width = std::max((right - left) / 2, least);
    const double half_height = std::max((top - bottom) / 2, least);

    // The picture is cut out of that plane, so that the box is in its middle and fills it.
    const double zoom = kFill / std::max(half_width, half_height * frame.aspect);
    camera.x = (camera.x + camera.w * (-(left + right) / 2)) * zoom;
    camera.y = (camera.y + camera.w * (-(bottom + top) / 2)) * (zoom * frame.aspect);
    ToRaster(frame, &camera);
    return camera;
}

}  // namespace view
