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

bool HasSameNormal(const PointHead& a, const PointHead& b) {
    for (int axis = 0; axis < 3; ++axis)
        if (!(std::fabs(a.normal[axis] - b.normal[axis]) < 0.001f)) return false;
    return true;
}

/// Everything so far, compared one by one with what comes.
template <class Thing, bool (*kIsSame)(const Thing& came, const Thing& stored)>
struct Plain {
    std::vector<Thing> things;

    bool IsCopy(const Thing& came) {
        for (const Thing& stored : things)
            if (kIsSame(came, stored)) return true;
        things.push_back(came);
        return false;
    }
};

using Grid = std::vector<PointHead>;

bool IsSameGrid(const Grid& a, const Grid& b) {
    const auto key = [](const Grid& g) {
        return (g[0].position[1] + g[0].position[2]) + g[0].position[0];
    };
    const auto bucket = [](float value) {
        return (std::bit_cast<std::uint32_t>(value) & 0x7FF800U) >> 11;
    };
    if (a.size() != b.size() || !(std::fabs(key(a) - key(b)) < 0.01f)) return false;
    if (bucket(key(a)) != bucket(key(b))) return false;
    for (const std::size_t i : {std::size_t{0}, a.size() / 2, a.size() - 1}) {
        if (!HasSameNormal(a[i], b[i])) return false;
        for (int axis = 0; axis < 3; ++axis) {
            const float value = a[i].position[axis], stored = b[i].position[axis];
            if (value != stored && !(std::fabs((value - stored) / value) < 3e-5f)) return false;
        }
    }
    return true;
}

bool IsSameSample(const PointHead& s, const PointHead& p) {
    const float d[] = {s.position[0] - p.position[0], s.position[1] - p.position[1],
                       s.position[2] - p.position[2]};
    const float reach = 0.001f * (s.radius * s.radius);
    return d[0] * d[0] + d[1] * d[1] + d[2] * d[2] < reach && HasSameNormal(s, p);
}

/// Values that lie near each other, near zero, on both sides of it, and nowhere.
float OddValue(std::mt19937& random, float spread) {
    const float odd[] = {0, -0.0f, static_cast<float>(random() % 3) * 1e-40f, 1e6f, -1e6f};
    if (random() % 128 == 0) return random() % 2 ? NAN : INFINITY;
    if (random() % 3 == 0) return odd[random() % 5];
    return static_cast<float>(static_cast<int>(random() % 7) - 3) * spread;
}

TEST(DriverDuplicates, GridsAreFoundAsByAPlainWalk) {
    std::mt19937 random(2);
    DuplicateGrids fast;
    Plain<Grid, IsSameGrid> plain;
    for (int i = 0; i < 20'000; ++i) {
        Grid grid(2 + random() % 2);
        const float base = OddValue(random, 2.0f);
        for (PointHead& sample : grid) {
            // A relative step around the tolerance, so that both answers are common.
            const float step = 1.0f + static_cast<float>(random() % 9) * 0.7e-5f;
            for (float& value : sample.position)
                value = (random() % 4 ? base : OddValue(random, 1.0f)) * step;
            for (float& value : sample.normal) value = static_cast<float>(random() % 3) * 0.0007f;
        }
        ASSERT_EQ(fast.IsCopy(BatchOf(grid)), plain.IsCopy(grid)) << i;
    }
    EXPECT_GT(plain.things.size(), 2000u);
    EXPECT_LT(plain.things.size(), 18'000u);
}

TEST(DriverDuplicates, SamplesAreFoundAsByAPlainWalk) {
    std::mt19937 random(4);
    DuplicateSamples fast;
    Plain<PointHead, IsSameSample> plain;
    for (int i = 0; i < 20'000; ++i) {
        PointHead sample{};
        for (float& value : sample.position)
            value = OddValue(random, 0.02f) + static_cast<float>(random() % 5) * 0.001f;
        for (float& value : sample.normal) value = static_cast<float>(random() % 4) * 0.0006f;
        const float radii[] = {0, -1, 0.05f, 0.3f, 3, NAN, 1e30f};
        sample.radius = radii[random() % 100 ? random() % 5 : random() % 7];
        ASSERT_EQ(fast.IsCopy(sample), plain.IsCopy(sample)) << i;
    }
    EXPECT_GT(plain.things.size(), 2000u);
    EXPECT_LT(plain.things.size(), 18'000u);
}

}  // namespace
