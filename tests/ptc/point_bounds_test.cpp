// The bounds that a header says of its points, beside a plain version.

#include "ptc/format/point_bounds.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

namespace {

/// Both ends of the sphere against both bounds, whatever its radius is.
void IncludePlainly(const float* position, float radius, CloudHeader* header) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (const float end : {position[axis] - radius, position[axis] + radius}) {
            if (end < header->box_min[axis]) header->box_min[axis] = end;
            if (end > header->box_max[axis]) header->box_max[axis] = end;
        }
    }
    if (radius > header->largest_radius) header->largest_radius = radius;
}

std::vector<std::uint32_t> BitsOf(const CloudHeader& header) {
    std::vector<std::uint32_t> bits = {std::bit_cast<std::uint32_t>(header.largest_radius)};
    for (const auto* const bound : {&header.box_min, &header.box_max})
        for (const float value : *bound) bits.push_back(std::bit_cast<std::uint32_t>(value));
    return bits;
}

TEST(PtcPointBounds, AgreeWithThePlainVersionToTheBit) {
    using Limits = std::numeric_limits<float>;
    const std::vector<float> odd = {0.0f,
                                    -0.0f,
                                    1.0f,
                                    -1.0f,
                                    1e30f,
                                    -3e38f,
                                    Limits::min(),
                                    Limits::max(),
                                    Limits::denorm_min(),
                                    -0.5f,
                                    Limits::infinity(),
                                    -Limits::infinity(),
                                    Limits::quiet_NaN()};
    for (const float before : odd) {
        for (const float x : odd) {
            for (const float radius : odd) {
                CloudHeader plain;
                PointBounds().StoreTo(&plain);
                PointBounds bounds;
                const float first[3] = {before, 0, -before};
                const float second[3] = {x, -x, 2 * x};
                for (const float* const position : {first, second}) {
                    IncludePlainly(position, radius, &plain);
                    bounds.Include(position, radius);
                }
                CloudHeader header;
                bounds.StoreTo(&header);
                EXPECT_EQ(BitsOf(header), BitsOf(plain)) << before << ' ' << x << ' ' << radius;
            }
        }
    }
}

}  // namespace
