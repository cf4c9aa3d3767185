// The cases of the simplifier that a user can work out by hand.

#include "driver/simplify.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/driver/cloudlet.h"

namespace {

/// What is left of `points`.
Points Thinned(const Points& points, const SimplifySettings& settings) {
    Cloudlet cloud(points);
    Simplify(cloud.records, cloud.removed, settings, Projection());
    Points left;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (const auto& [head, data] = cloud.records[i]; !cloud.removed[i])
            left.push_back({head, {data, data + points[0].second.size()}});
    return left;
}

PointHead At(float x, float nx = 0, float nz = 1, float radius = 1) {
    return {{x, 0, 0}, {nx, 0, nz}, radius};
}

TEST(DriverSimplify, EqualPointsBecomeOneOfAllTheirAreas) {
    SimplifySettings settings;
    settings.max_distance = 0;  // 0 still reaches what is at exactly the same place
    settings.area_flags = {1, 0};
    for (const std::size_t count : {2u, 17u}) {  // 17 are more than a leaf is split at
        const Points left = Thinned(Points(count, {At(3), {0.25f, 7}}), settings);
        ASSERT_EQ(left.size(), 1u);
        const auto& [head, data] = left[0];
        EXPECT_EQ(head.position[0], 3.0f);
        EXPECT_EQ(head.normal[2], 1.0f);
        EXPECT_FLOAT_EQ(head.radius, std::sqrt(static_cast<float>(count)));
        EXPECT_EQ(data[0], 0.25f * static_cast<float>(count));
        EXPECT_FLOAT_EQ(data[1], 7);
    }
}

TEST(DriverSimplify, WhatIsNotAlikeStaysApart) {
    const float angle = 60.1f * 3.14159265f / 180;
    const Points far = {{At(0), {0}}, {At(1), {0}}}, apart = {{At(0), {0}}, {At(0), {2}}};
    const Points tilted = {{At(0), {0}}, {At(0, std::sin(angle), std::cos(angle)), {0}}};
    const Points huge = {{At(0), {0}}, {At(0), {1e30f}}};
    const struct {
        const char* why;
        const Points& points;
        float max_distance, max_difference;
        std::size_t left;
    } rows[] = {
        {"distance", far, 0.99f, 1e15f, 2},
        {"limit has 0.1 % to spare", far, 1, 1e15f, 1},
        {"normals 60.1 degrees apart", tilted, 1, 1e15f, 2},
        {"a channel", apart, 1, 1.5f, 2},
        {"as far as allowed", apart, 1, 2, 1},
        {"channels are not compared below 0", apart, 1, -1, 1},
        {"nor from 1e15 on", huge, 1, 1e15f, 1},
        {"but just below", huge, 1, 9e14f, 2},
    };
    for (const auto& row : rows) {
        SimplifySettings settings;
        settings.max_distance = row.max_distance;
        settings.max_difference = row.max_difference;
        settings.area_flags = {0};
        EXPECT_EQ(Thinned(row.points, settings).size(), row.left) << row.why;
    }
}

TEST(DriverSimplify, AreaFlagsGoByFloatPosition) {
    // Two variables, a color and an area: the flag of the second falls on the color's green.
    SimplifySettings settings;
    settings.area_flags = {0, 1, 0, 0};
    const Points left = Thinned(Points(2, {At(0), {1, 2, 3, 4}}), settings);
    EXPECT_EQ(left.at(0).second, (std::vector<float>{1, 4, 3, 4}));
}

TEST(DriverSimplifyDeathTest, ATreeWithoutMemoryEndsTheProcess) {
    Points points;
    for (int i = 0; i < 500; ++i) points.push_back({At(static_cast<float>(i)), {0}});
    Cloudlet cloud(points);
    SimplifyMeans means;
    means.max_nodes = 5;
    EXPECT_EXIT(Simplify(cloud.records, cloud.removed, SimplifySettings{}, Projection(), means),
                testing::ExitedWithCode(1),
                "^ptsieve simplify ERROR: too many octree nodes to fit in memory. Aborting.\n$");
}

}  // namespace
