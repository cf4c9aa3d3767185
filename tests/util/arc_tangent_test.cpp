// The arc tangent: close to the true one, and every bit pinned.

#include "util/math/arc_tangent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>

namespace {

// One checksum over the bits of many angles: a compiler or machine that rounds one of them
// otherwise would write other files.
TEST(UtilArcTangent, EveryBitIsFixed) {
    std::mt19937 random(7);
    const auto next = [&] {
        const float odd[] = {0, -0.0f, 1, -1, HUGE_VALF, -HUGE_VALF};
        const auto value = static_cast<float>(static_cast<std::int32_t>(random())) * 0x1p-31f;
        return random() % 64 ? value : odd[random() % 6];
    };
    std::uint64_t sum = 0;
    float worst = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        const float y = next(), x = next(), angle = arc_tangent::Of<1>(y, x);
        const auto exact = static_cast<float>(std::atan2(double{y}, double{x}));
        worst = std::max(worst, std::fabs(angle - exact));
        ASSERT_EQ(std::signbit(angle), std::signbit(exact)) << y << " over " << x;
        sum = sum * 31 + std::bit_cast<std::uint32_t>(angle);
        const auto four =
            arc_tangent::Of<4>(Lanes<4>::Floats{x, y, 0, y}, Lanes<4>::Floats{y, x, x, x});
        ASSERT_EQ(std::bit_cast<std::uint32_t>(float{four[3]}), std::bit_cast<std::uint32_t>(angle))
            << y << " over " << x;
    }
    EXPECT_LE(worst, 2.4e-7f);  // one place of the largest angles
    EXPECT_EQ(sum, 11801758922924143205U);
    EXPECT_TRUE(std::isnan(arc_tangent::Of<1>(1, std::nanf(""))));
}

}  // namespace
