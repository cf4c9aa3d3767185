// Three-component vectors: the arithmetic that scenes, cameras and shading share.

#pragma once

#include <algorithm>
#include <cmath>

namespace bake {

/// A position, direction or colour. World space is left-handed: x right, y up, z away from the eye.
struct Vec3 {
    float x = 0;
    float y = 0;
    float z = 0;
};

constexpr Vec3 operator+(Vec3 a, Vec3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Vec3 operator-(Vec3 a, Vec3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Vec3 operator-(Vec3 a) {
    return {-a.x, -a.y, -a.z};
}
constexpr Vec3 operator*(Vec3 a, float s) {
    return {a.x * s, a.y * s, a.z * s};
}
/// Component by component, as light is filtered by a colour.
constexpr Vec3 operator*(Vec3 a, Vec3 b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
constexpr bool operator==(Vec3 a, Vec3 b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

/// The product of the lengths and the cosine between the two.
constexpr float Dot(Vec3 a, Vec3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
/// At right angles to both, as long as the parallelogram that they span is large.
constexpr Vec3 Cross(Vec3 a, Vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float Length(Vec3 a) {
    return std::sqrt(Dot(a, a));
}
/// Unit length; the null vector stays what it is.
inline Vec3 Normalized(Vec3 a) {
    const float length = Length(a);
    return length > 0 ? a * (1 / length) : a;
}

/// How many steps of at most `step` a `length` takes, at least one. A length that exceeds a whole
/// number of steps by rounding only does not get another one.
inline int Steps(float length, float step) {
    return std::max(1, static_cast<int>(std::ceil(length / step - 1e-3f)));
}

}  // namespace bake
