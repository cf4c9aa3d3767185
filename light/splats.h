// Splats: what is seen from a place, as squares that face it, and where in the hemisphere's map
// each one lies.
//
// The values are in columns, so that several are computed at a time.
//
// Units      those of ptc/light.h; positions relative to the place. Radii of the map from 0 to 1,
//            angles in turns.
// Errors     throws std::bad_alloc.
// Ownership  owns its columns, which stay for the next place.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "util/math/vec3.h"

/// The axes of a place's frame: the third is its normal.
struct LightFrame {
    Vec3f tangent, bitangent, normal;

    Vec3f Of(Vec3f v) const { return {Dot(v, tangent), Dot(v, bitangent), Dot(v, normal)}; }
    Vec3f World(Vec3f v) const { return tangent * v.x + bitangent * v.y + normal * v.z; }
};

class Splats {
public:
    /// The columns. Place() replaces what is above the line by what stands below it.
    enum Column : std::size_t {
        kX,
        kY,
        kZ,
        kSquared,  ///< distance
        kFront,    ///< area that is seen from the front
        kBack,
        kRed,  ///< sums of front area times colour
        kGreen,
        kBlue,
        kShare,  ///< what part of it is within reach
        kColumns,

        kInner = kX,  ///< radii
        kOuter = kY,
        kBegin = kZ,  ///< angles; the begin is from -0.5 on
        kDistance = kSquared,
        kEnd = kShare,
        // kFront and kBack: parts of the square that fronts and backs fill.
        // kRed, kGreen, kBlue: the colour of the fronts.
    };

    void Clear() { count_ = 0; }
    std::size_t Count() const { return count_; }

    /// A row to be filled.
    std::size_t Add() {
        if (count_ == capacity_) Grow();
        return count_++;
    }
    float& At(Column column, std::size_t row) { return columns_[column][row]; }
    float At(Column column, std::size_t row) const { return columns_[column][row]; }

    /// Computes where in the map the rows lie. `scale`: 1 over the sine of the cone. A row that is
    /// not in the map gets an inner radius of 2.
    void Place(const LightFrame& frame, float scale);

    /// The rows by distance, the nearest first, those in one step of distance in their order.
    std::span<const std::uint32_t> Sorted();

private:
    void Grow();
    void PlaceFour(const LightFrame& frame, float scale, std::size_t row);

    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
    std::array<std::vector<float>, kColumns> columns_;
    std::vector<std::uint32_t> order_;
};
