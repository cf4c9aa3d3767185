// Camera: its two matrices, and the raster box of a disc.

#include "tools/scene/camera.h"

namespace scene {

namespace {

constexpr float kFrontDepth = 2.8f;    // from the eye to the room's open front, at z = -1
constexpr float kFrontMargin = 1.05f;  // width of the picture, relative to the front
constexpr float kNear = 0.1f;
constexpr float kFar = 100.0f;

/// First `a`, then `b`, as p * a * b.
Matrix Product(const Matrix& a, const Matrix& b) {
    Matrix product{};
    for (std::size_t row = 0; row < 4; ++row)
        for (std::size_t column = 0; column < 4; ++column)
            for (std::size_t k = 0; k < 4; ++k)
                product[row * 4 + column] += a[row * 4 + k] * b[k * 4 + column];
    return product;
}

}  // namespace

Camera::Camera(int width, int height) : width_(width), height_(height) {
    // The front fits the shorter side; the longer one shows what is beside or above it.
    const float shorter = static_cast<float>(std::min(width, height));
    const float zoom = kFrontDepth / kFrontMargin * shorter;
    const float scale_x = zoom / static_cast<float>(width);
    const float scale_y = zoom / static_cast<float>(height);
    const float depth_scale = kFar / (kFar - kNear);

    world_to_eye_ = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, kFrontDepth + 1, 1};
    const Matrix projection = {
        scale_x, 0,       0,
        0,  //
        0,       scale_y, 0,
        0,  //
        0,       0,       depth_scale,
        1,  //
        0,       0,       -kNear * depth_scale,
        0,
    };
    world_to_ndc_ = Product(world_to_eye_, projection);
}

Vec3f Camera::Eye() {
    return {0, 0, -(kFrontDepth + 1)};
}

Vec3f Camera::DirectionThrough(float x, float y) const {
    const float ndc_x = x / static_cast<float>(width_) * 2 - 1;
    const float ndc_y = 1 - y / static_cast<float>(height_) * 2;
    return Normalized(Vec3f{ndc_x / world_to_ndc_[0], ndc_y / world_to_ndc_[5], 1});
}

float Camera::PixelAngle() const {
    return 2 / (static_cast<float>(width_) * world_to_ndc_[0]);
}

RasterBox Camera::Cover(Vec3f centre, float radius) const {
    const Matrix& m = world_to_ndc_;
    const float depth = centre.z * m[11] + m[15];
    const float half_width = static_cast<float>(width_) / 2;
    const float half_height = static_cast<float>(height_) / 2;
    const float x = (1 + centre.x * m[0] / depth) * half_width;
    const float y = (1 - centre.y * m[5] / depth) * half_height;
    // Computed for a disc that faces the eye; other discs cover hardly more, and mostly less.
    const float radius_x = radius * m[0] / depth * half_width;
    const float radius_y = radius * m[5] / depth * half_height;
    return {x - radius_x, y - radius_y, x + radius_x, y + radius_y};
}

}  // namespace scene
