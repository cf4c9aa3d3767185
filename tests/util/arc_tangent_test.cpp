// The arc tangent: close to the true one, and every bit pinned.

#include "util/arc_tangent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

namespace {

// One checksum over the bits of many angles: a compiler or machine that rounds one of them
// otherwise would write other files.
TEST(UtilArcTangent, EveryBitIsFixed) {
    std::mt19937 random(7);
    std::uint64_t sum = 0;
    float worst = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        const auto y = static_cast<float>(static_cast<std::int32_t>(random())) * 0x1p-31f;
        const auto x = static_cast<float>(static_cast<std::int32_t>(random())) * 0x1p-31f;
        const float angle = arc_tangent::Of(y, x);
        worst = std::max(worst,
                         std::fabs(angle - static_cast<float>(std::atan2(double{y}, double{x}))));
        sum = sum * 31 + std::bit_cast<std::uint32_t>(angle);
    }
    EXPECT_LE(worst, 2.4e-7f);  // one place of the largest angles
    EXPECT_EQ(sum, 16270640651376575074U);

    const float infinity = HUGE_VALF;
    for (const auto& [y, x, angle] : std::initializer_list<std::array<float, 3>>{
             {0, 0, 0},
             {0, -0.0f, arc_tangent::kPi},
             {-0.0f, -1, -arc_tangent::kPi},
             {1, 0, arc_tangent::kHalfPi},
             {-1, -0.0f, -arc_tangent::kHalfPi},
             {infinity, -3, arc_tangent::kHalfPi},
             {3, -infinity, arc_tangent::kPi},
             {-3, infinity, -0.0f},
             {infinity, infinity, 0.25f * arc_tangent::kPi},
             {-infinity, -infinity, -0.75f * arc_tangent::kPi}})
        EXPECT_EQ(std::bit_cast<std::uint32_t>(arc_tangent::Of(y, x)),
                  std::bit_cast<std::uint32_t>(angle))
            << y << " over " << x;
    EXPECT_TRUE(std::isnan(arc_tangent::Of(1, std::nanf(""))));
}

}  // namespace
