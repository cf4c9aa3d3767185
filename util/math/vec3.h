// Vectors of three components: positions, directions and colours of meshes, cameras and pictures.
//
// Units      the caller's.
// Errors     none.
// Threads    any.

#pragma once

#include <algorithm>
#include <cmath>

template <class Number>
struct Vec3 {
    Number x = 0;
    Number y = 0;
    Number z = 0;

    friend constexpr bool operator==(const Vec3& a, const Vec3& b) = default;

    friend constexpr Vec3 operator+(const Vec3& a, const Vec3& b) {
        return {a.x + b.x, a.y + b.y, a.z + b.z};
    }
    friend constexpr Vec3 operator-(const Vec3& a, const Vec3& b) {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend constexpr Vec3 operator-(const Vec3& a) { return {-a.x, -a.y, -a.z}; }
    friend constexpr Vec3 operator*(const Vec3& a, Number s) { return {a.x * s, a.y * s, a.z * s}; }
    /// Component by component, as a colour filters light.
    friend constexpr Vec3 operator*(const Vec3& a, const Vec3& b) {
        return {a.x * b.x, a.y * b.y, a.z * b.z};
    }

    /// The product of the two lengths and the cosine of the angle between them.
    friend constexpr Number Dot(const Vec3& a, const Vec3& b) {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    }
    /// At right angles to both; its length is the area of the parallelogram that they span.
    friend constexpr Vec3 Cross(const Vec3& a, const Vec3& b) {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
    friend Number Length(const Vec3& a) { return std::sqrt(Dot(a, a)); }
    /// Of unit length; the null vector stays null.
    friend Vec3 Normalized(const Vec3& a) {
        const Number length = Length(a);
        return length > 0 ? a * (1 / length) : a;
    }

    /// The smaller and the larger of each component, for boxes.
    friend constexpr Vec3 Least(const Vec3& a, const Vec3& b) {
        return {std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)};
    }
    friend constexpr Vec3 Most(const Vec3& a, const Vec3& b) {
        return {std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)};
    }
};

/// For what is stored and shaded.
using Vec3f = Vec3<float>;
/// For coordinates that may be large with small differences, and for cameras.
using Vec3d = Vec3<double>;
