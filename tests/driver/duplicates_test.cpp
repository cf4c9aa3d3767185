// Repeats: the fast lookups answer as a plain walk over everything remembered does.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <span>

#include "driver/duplicate_grids.h"
#include "driver/duplicate_samples.h"

namespace {

Batch BatchOf(const std::vector<PointHead>& samples) {
    return {std::as_bytes(std::span(samples)).data(), samples.size(), 7};
}

bool IsNear(float value, float stored) {
    return value == stored || std::fabs((value - stored) / value) < 3e-5f;
}

bool HasSameNormal(const PointHead& a, const PointHead& b) {
    return std::fabs(a.normal[0] - b.normal[0]) < 0.001f &&
           std::fabs(a.normal[1] - b.normal[1]) < 0.001f &&
           std::fabs(a.normal[2] - b.normal[2]) < 0.001f;
}

/// Every grid so far, compared one by one.
struct PlainGrids {
    std::vector<std::vector<PointHead>> grids;

    static float Key(const std::vector<PointHead>& g) {
        return (g[0].position[1] + g[0].position[2]) + g[0].position[0];
    }
    static bool IsSame(const std::vector<PointHead>& a, const std::vector<PointHead>& b) {
        if (a.size() != b.size() || !(std::fabs(Key(a) - Key(b)) < 0.01f)) return false;
        const auto bucket = [](float key) {
            return (std::bit_cast<std::uint32_t>(key) & 0x7FF800U) >> 11;
        };
        if (bucket(Key(a)) != bucket(Key(b))) return false;
        for (const std::size_t i : {std::size_t{0}, a.size() / 2, a.size() - 1}) {
            if (!HasSameNormal(a[i], b[i])) return false;
            for (int axis = 0; axis < 3; ++axis)
                if (!IsNear(a[i].position[axis], b[i].position[axis])) return false;
        }
        return true;
    }
    bool IsCopy(const std::vector<PointHead>& grid) {
        for (const auto& stored : grids)
            if (IsSame(grid, stored)) return true;
        grids.push_back(grid);
        return false;
    }
};

/// Every sample so far, compared one by one.
struct PlainSamples {
    std::vector<PointHead> samples;

    bool IsCopy(const PointHead& s) {
        const float reach = 0.001f * (s.radius * s.radius);
        for (const PointHead& p : samples) {
            const float d[] = {s.position[0] - p.position[0], s.position[1] - p.position[1],
                               s.position[2] - p.position[2]};
            if (d[0] * d[0] + d[1] * d[1] + d[2] * d[2] < reach && HasSameNormal(s, p)) return true;
        }
        samples.push_back(s);
        return false;
    }
};

/// Values that lie near each other, near zero, on both sides of it, and nowhere.
float OddValue(std::mt19937& random, float spread) {
    switch (random() % 16) {
        case 0:
            return 0.0f;
        case 1:
            return -0.0f;
        case 2:
            return static_cast<float>(random() % 3) * 1e-40f;
        case 3:
            return random() % 8 ? 1e6f : NAN;
        case 4:
            return random() % 8 ? -1e6f : INFINITY;
        default:
            return static_cast<float>(static_cast<int>(random() % 7) - 3) * spread;
    }
}

TEST(DriverDuplicates, GridsAreFoundAsByAPlainWalk) {
    std::mt19937 random(2);
    DuplicateGrids fast;
    PlainGrids plain;
    int copies = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::vector<PointHead> grid(2 + random() % 2);
        const float base = OddValue(random, 2.0f);
        for (PointHead& sample : grid) {
            // A relative step around the tolerance, so that both answers are common.
            const float step = 1.0f + static_cast<float>(random() % 9) * 0.7e-5f;
            for (float& value : sample.position)
                value = (random() % 4 ? base : OddValue(random, 1.0f)) * step;
            for (float& value : sample.normal) value = static_cast<float>(random() % 3) * 0.0007f;
        }
        const bool is_copy = fast.IsCopy(BatchOf(grid));
        ASSERT_EQ(is_copy, plain.IsCopy(grid)) << i;
        copies += is_copy;
    }
    EXPECT_GT(copies, 2000);
    EXPECT_GT(plain.grids.size(), 2000u);
}

TEST(DriverDuplicates, SamplesAreFoundAsByAPlainWalk) {
    std::mt19937 random(4);
    DuplicateSamples fast;
    PlainSamples plain;
    int copies = 0;
    for (int i = 0; i < 20'000; ++i) {
        PointHead sample{};
        for (float& value : sample.position)
            value = OddValue(random, 0.02f) + static_cast<float>(random() % 5) * 0.001f;
        for (float& value : sample.normal) value = static_cast<float>(random() % 4) * 0.0006f;
        const float radii[] = {0, -1, 0.05f, 0.3f, 3, NAN, 1e30f};
        sample.radius = radii[random() % 100 ? random() % 5 : random() % 7];
        const bool is_copy = fast.IsCopy(sample);
        ASSERT_EQ(is_copy, plain.IsCopy(sample)) << i;
        copies += is_copy;
    }
    EXPECT_GT(copies, 2000);
    EXPECT_GT(plain.samples.size(), 2000u);
}

// Orders that make an unbalanced tree or one long chain: each would take hours.
TEST(DriverDuplicates, NoOrderOfArrivalMakesThemSlow) {
    constexpr int kMany = 200'000;
    DuplicateSamples sorted;
    DuplicateSamples at_one_place;
    DuplicateGrids on_a_slope;
    int copies = 0;
    for (int i = 0; i < kMany; ++i) {
        const auto f = static_cast<float>(i);
        copies += sorted.IsCopy({{f, f, f}, {0, 0, 1}, 0.5f});
        copies += at_one_place.IsCopy({{1, 2, 3}, {f, 0, 1}, 0.5f});
        const auto x = static_cast<float>(1 + i % 500);
        const auto y = static_cast<float>(1 + i / 500);
        const PointHead head = {{x, y, -(x + y)}, {0, 0, 1}, 0.5f};  // every key is 0
        copies += on_a_slope.IsCopy(BatchOf({head, head}));
    }
    EXPECT_EQ(copies, 0);
    EXPECT_TRUE(sorted.IsCopy({{777, 777, 777}, {0, 0, 1}, 0.5f}));
    EXPECT_TRUE(at_one_place.IsCopy({{1, 2, 3}, {777, 0, 1}, 0.5f}));
}

}  // namespace
