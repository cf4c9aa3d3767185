// Three-component vectors in double precision, for what is computed once a point or once a picture.

#pragma once

#include <cmath>

namespace view {

struct Vector3 {
    double x = 0;
    double y = 0;
    double z = 0;
};

constexpr Vector3 operator+(const Vector3& a, const Vector3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Vector3 operator-(const Vector3& a, const Vector3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Vector3 operator*(const Vector3& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
constexpr double Dot(const Vector3& a, const Vector3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
/// At right angles to both.
constexpr Vector3 Cross(const Vector3& a, const Vector3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(const Vector3& a) {
    return std::sqrt(Dot(a, a));
}

}  // namespace view
