// The simplifier against the plain algorithm, and the cases that a user can work out by hand.

#include "driver/simplify.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "tests/driver/plain_simplify.h"

namespace {

/// Records with their data, ready to be thinned.
struct Cloudlet {
    explicit Cloudlet(const std::vector<std::pair<PointHead, std::vector<float>>>& points) {
        const std::size_t width = points.empty() ? 0 : points[0].second.size();
        data.reserve(width * points.size());
        for (const auto& [head, values] : points) {
            float* const slot = data.data() + data.size();
            data.insert(data.end(), values.begin(), values.end());
            records.push_back({head, slot});
        }
        removed.resize(records.size());
    }

    std::vector<PointRecord> Survivors() const {
        std::vector<PointRecord> left;
        for (std::size_t i = 0; i < records.size(); ++i)
            if (!removed[i]) left.push_back(records[i]);
        return left;
    }

    std::vector<float> data;
    std::vector<PointRecord> records;
    std::vector<std::uint8_t> removed;
};

using Points = std::vector<std::pair<PointHead, std::vector<float>>>;

std::vector<PointRecord> Thinned(Cloudlet& cloud, const SimplifySettings& settings) {
    Simplify(cloud.records, cloud.removed, settings, Projection());
    return cloud.Survivors();
}

PointHead At(float x, float nx = 0, float nz = 1, float radius = 1) {
    return {{x, 0, 0}, {nx, 0, nz}, radius};
}

TEST(DriverSimplify, TwoEqualPointsBecomeOneOfBothTheirAreas) {
    Cloudlet cloud(Points{{At(2), {0.25f, 7}}, {At(2), {0.5f, 7}}});
    SimplifySettings settings;
    settings.max_distance = 0;  // 0 still reaches what is at exactly the same place
    settings.area_flags = {1, 0};
    const auto left = Thinned(cloud, settings);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].head.position[0], 2.0f);
    EXPECT_EQ(left[0].head.normal[2], 1.0f);
    EXPECT_EQ(left[0].head.radius, std::sqrt(2.0f));
    EXPECT_EQ(left[0].data[0], 0.75f);
    EXPECT_EQ(left[0].data[1], 7.0f);
}

TEST(DriverSimplify, WhatIsNotAlikeStaysApart) {
    const float angle = 60.1f * 3.14159265f / 180;
    struct Row {
        const char* why;
        Points points;
        float max_distance, max_difference;
        std::size_t left;
    };
    const Points far = {{At(0), {0}}, {At(1), {0}}};
    const Points apart = {{At(0), {0}}, {At(0), {2}}};
    for (const Row& row : {
             Row{"distance", far, 0.99f, 1e15f, 2},
             Row{"limit has 0.1 % to spare", far, 1.0f, 1e15f, 1},
             Row{"normals 60.1 degrees apart",
                 {{At(0), {0}}, {At(0, std::sin(angle), std::cos(angle)), {0}}},
                 1,
                 1e15f,
                 2},
             Row{"a channel", apart, 1, 1.5f, 2},
             Row{"as far as allowed", apart, 1, 2.0f, 1},
             Row{"channels are not compared below 0", apart, 1, -1.0f, 1},
             Row{"nor from 1e15 on", {{At(0), {0}}, {At(0), {1e30f}}}, 1, 1e15f, 1},
             Row{"but just below", {{At(0), {0}}, {At(0), {1e30f}}}, 1, 9e14f, 2},
         }) {
        Cloudlet cloud(row.points);
        SimplifySettings settings;
        settings.max_distance = row.max_distance;
        settings.max_difference = row.max_difference;
        settings.area_flags = {0};
        EXPECT_EQ(Thinned(cloud, settings).size(), row.left) << row.why;
    }
}

TEST(DriverSimplify, AreaFlagsGoByFloatPosition) {
    // Two variables, a color and an area: the flag of the second falls on the color's green.
    Cloudlet cloud(Points{{At(0), {1, 2, 3, 4}}, {At(0), {1, 2, 3, 4}}});
    SimplifySettings settings;
    settings.area_flags = {0, 1, 0, 0};
    const auto left = Thinned(cloud, settings);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].data[1], 4.0f);
    EXPECT_EQ(left[0].data[3], 4.0f);
}

TEST(DriverSimplify, SeventeenPointsAtOnePlaceMergeToOne) {
    Cloudlet cloud(Points(17, {At(3), {1}}));
    SimplifySettings settings;
    settings.max_distance = 0;
    settings.area_flags = {1};
    const auto left = Thinned(cloud, settings);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].data[0], 17.0f);
}

/// Points on a bumpy surface, on a line, in clusters, at a few places, or all over.
Points RandomPoints(std::mt19937& random, std::size_t count, int kind) {
    const auto uniform = [&] { return static_cast<float>(random() % 100'000) * 1e-5f; };
    Points points;
    for (std::size_t i = 0; i < count; ++i) {
        float x = uniform();
        float y = uniform();
        float z = uniform();
        if (kind == 0) z = 0.1f * std::sin(9 * x) * y;
        if (kind == 1) y = z = 0.5f;
        if (kind == 2) {
            x = std::floor(x * 6) + 0.02f * uniform();
            y = std::floor(y * 6);
            z = std::floor(z * 3) + 0.01f * uniform();
        }
        if (kind == 3) {  // a few places with many points each, and one far away
            x = std::floor(x * 2) + (i == 0 ? 50.0f : 0.0f);
            y = z = 0;
        }
        const float tilt = 0.6f * (uniform() - 0.5f);
        points.push_back(
            {{{x, y, z + 2}, {tilt, 0, std::sqrt(1 - tilt * tilt)}, 0.001f + 0.01f * uniform()},
             {uniform(), std::floor(3 * uniform())}});
    }
    return points;
}

TEST(DriverSimplify, AgreesWithThePlainAlgorithm) {
    std::mt19937 random(6);
    Projection projection;
    projection.world_to_ndc = {1.8f, 0, 0, 0, 0, 2.4f, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 0.2f};
    projection.format = {640, 480, 1};
    std::size_t merged = 0;
    for (int round = 0; round < 160; ++round) {
        const Points points = RandomPoints(random, 1 + random() % 700, round % 5);
        SimplifySettings settings;
        const float distances[] = {0, 0.01f, 0.1f, 1e15f};
        settings.max_distance = distances[random() % 4];
        settings.is_raster_space = random() % 2;
        if (settings.is_raster_space) settings.max_distance *= 100;
        settings.min_dot = random() % 2 ? 0.5f : 0.95f;
        settings.max_difference = random() % 2 ? 0.5f : 1e15f;
        settings.area_flags = {static_cast<std::uint8_t>(random() % 2), 0};

        Cloudlet fast(points);
        Cloudlet plain(points);
        Simplify(fast.records, fast.removed, settings, projection);
        plain_simplify::Simplify(plain.records, plain.removed, settings, projection);
        ASSERT_EQ(fast.removed, plain.removed) << "round " << round;
        for (std::size_t i = 0; i < points.size(); ++i) {
            ASSERT_EQ(std::memcmp(&fast.records[i].head, &plain.records[i].head, sizeof(PointHead)),
                      0)
                << "record " << i << " of round " << round;
            ASSERT_EQ(fast.records[i].data - fast.data.data(),
                      plain.records[i].data - plain.data.data());
        }
        ASSERT_EQ(std::memcmp(fast.data.data(), plain.data.data(), 4 * fast.data.size()), 0);
        merged += points.size() - fast.Survivors().size();
    }
    EXPECT_GT(merged, 10'000u);
}

TEST(DriverSimplifyDeathTest, ATreeWithoutMemoryEndsTheProcess) {
    std::mt19937 random(8);
    Cloudlet cloud(RandomPoints(random, 500, 4));
    EXPECT_EXIT(Simplify(cloud.records, cloud.removed, SimplifySettings{}, Projection(), Octree(5)),
                testing::ExitedWithCode(1),
                "^ptsieve simplify ERROR: too many octree nodes to fit in memory. Aborting.\n$");
}

}  // namespace
