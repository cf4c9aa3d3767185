// The simplifier against the plain algorithm, and the cases that a user can work out by hand.

#include "driver/simplify.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <string>

#include "tests/driver/plain_simplify.h"

namespace {

using Points = std::vector<std::pair<PointHead, std::vector<float>>>;

/// Records with their data, ready to be thinned.
struct Cloudlet {
    explicit Cloudlet(const Points& points) : removed(points.size()) {
        data.reserve(points[0].second.size() * points.size());
        for (const auto& [head, values] : points) {
            records.push_back({head, data.data() + data.size()});
            data.insert(data.end(), values.begin(), values.end());
        }
    }

    /// Everything that there is, in its order, as bytes to compare.
    std::string Bytes() const {
        std::string bytes(removed.begin(), removed.end());
        for (const PointRecord& record : records) {
            bytes.append(reinterpret_cast<const char*>(&record.head), sizeof record.head);
            bytes += std::to_string(record.data - data.data());
        }
        return bytes.append(reinterpret_cast<const char*>(data.data()), 4 * data.size());
    }

    std::vector<float> data;
    std::vector<PointRecord> records;
    std::vector<std::uint8_t> removed;
};

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

/// Points on a bumpy surface, on a line, in clusters, at a few places, or all over.
Points RandomPoints(std::mt19937& random, std::size_t count, int kind) {
    const auto uniform = [&] { return static_cast<float>(random() % 100'000) * 1e-5f; };
    Points points;
    for (std::size_t i = 0; i < count; ++i) {
        float x = uniform(), y = uniform(), z = uniform();
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

/// Thins both ways; answers how many points were merged away.
std::size_t ExpectAgreement(const Points& points, const SimplifySettings& settings,
                            const Projection& projection) {
    Cloudlet fast(points), plain(points);
    Simplify(fast.records, fast.removed, settings, projection);
    plain_simplify::Run(plain.records, plain.removed, settings, projection);
    EXPECT_TRUE(fast.Bytes() == plain.Bytes());
    return std::accumulate(fast.removed.begin(), fast.removed.end(), std::size_t{0});
}

TEST(DriverSimplify, AgreesWithThePlainAlgorithm) {
    std::mt19937 random(6);
    Projection projection;
    projection.world_to_ndc = {1.8f, 0, 0, 0, 0, 2.4f, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 0.2f};
    projection.format = {640, 480, 1};
    std::size_t merged = 0;
    for (int round = 0; round < 160 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const Points points = RandomPoints(random, 1 + random() % 700, round % 5);
        SimplifySettings settings;
        const float distances[] = {0, 0.01f, 0.1f, 1e15f};
        settings.max_distance = distances[random() % 4];
        settings.is_raster_space = random() % 2;
        if (settings.is_raster_space) settings.max_distance *= 100;
        settings.min_dot = random() % 2 ? 0.5f : 0.95f;
        settings.max_difference = random() % 2 ? 0.5f : 1e15f;
        settings.area_flags = {static_cast<std::uint8_t>(random() % 2), 0};
        merged += ExpectAgreement(points, settings, projection);
    }
    EXPECT_GT(merged, 10'000u);
}

template <class T, std::size_t kCount>
T OneOf(std::mt19937& random, const T (&values)[kCount]) {
    return values[random() % kCount];
}

/// One number of a crowd's points: of few values or many, the same for runs of points or not.
struct CrowdNumber {
    explicit CrowdNumber(std::mt19937& random)
        : values(OneOf(random, {1u, 1u, 2u, 5u, 1u << 20})), run(OneOf(random, {1u, 1u, 50u})) {}

    float Next(std::mt19937& random) {
        if (random() % run == 0)
            last = static_cast<float>(random() % values) / static_cast<float>(values);
        return last;
    }

    unsigned values, run;
    float last = 0;
};

/// Points that share places, normals or data, by themselves or in a surface. Odd values strike
/// some numbers of some crowds.
Points RandomCrowd(std::mt19937& random, std::size_t count) {
    const bool is_in_surface = random() % 4 == 0;
    const float size = OneOf(random, {1.0f, 1.0f, 1.0f, 1e-3f, 1e15f, 1e20f});
    const float largest_radius = size * OneOf(random, {0.01f, 0.5f, 1000.0f});
    const unsigned odd = OneOf(random, {1u << 30, 1u << 30, 1u << 30, 1000u, 100u, 9u});
    CrowdNumber place[3] = {CrowdNumber(random), CrowdNumber(random), CrowdNumber(random)};
    CrowdNumber tilt(random), radius(random),
        values[2] = {CrowdNumber(random), CrowdNumber(random)};
    Points points;
    for (std::size_t i = 0; i < count; ++i) {
        PointHead head{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const float of_surface = static_cast<float>(random() % 1000) * (axis < 2 ? 1e-3f : 0);
            head.position[axis] =
                size * (2 + (is_in_surface && i % 2 ? of_surface : place[axis].Next(random)));
        }
        const float angle = 6.3f * tilt.Next(random);
        head.normal[0] = std::sin(angle);
        head.normal[2] = std::cos(angle);
        head.radius = largest_radius * (0.01f + radius.Next(random));
        std::vector<float> data = {values[0].Next(random), values[1].Next(random)};
        for (float* const number : {&head.position[random() % 3], &head.normal[random() % 3],
                                    &head.radius, &data[random() % 2]})
            if (random() % odd == 0)
                *number = OneOf(random, {NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 3e38f, -2e30f});
        points.push_back({head, data});
    }
    return points;
}

TEST(DriverSimplify, AgreesWithThePlainAlgorithmOnCrowds) {
    std::mt19937 random(26);
    std::size_t merged = 0;
    for (int round = 0; round < 300 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const Points points = RandomCrowd(random, 65 + random() % 600);
        SimplifySettings settings;
        settings.max_distance =
            OneOf(random, {0.0f, 1e-22f, 0.01f, 1.0f, -1.0f, 1e15f, 1e20f, INFINITY, NAN});
        settings.is_raster_space = random() % 2;
        settings.min_dot = OneOf(random, {0.5f, 0.5f, 0.99f, 1.0f, -2.0f, -INFINITY, NAN});
        settings.max_difference = OneOf(random, {0.5f, 0.0f, 0.1f, 1e15f, -1.0f, NAN});
        settings.area_flags = {static_cast<std::uint8_t>(random() % 2), 0};

        // Most crowds lie at depths from 2 to 3, where a divisor of -2 or -2.5 and the depth is 0.
        Projection projection;
        auto& m = projection.world_to_ndc;
        const bool is_odd = random() % 3 == 0;
        m[0] = is_odd ? OneOf(random, {1.0f, -1.0f, 0.0f, INFINITY, NAN}) : 1.8f;
        m[11] = is_odd ? OneOf(random, {1.0f, 0.0f, -0.3f, NAN}) : 1.0f;
        m[15] = OneOf(random, {0.2f, -2.0f, -2.5f, is_odd ? NAN : 0, is_odd ? INFINITY : 0});
        projection.format[0] = is_odd ? OneOf(random, {2.0f, 0.0f, INFINITY, NAN}) : 2.0f;
        merged += ExpectAgreement(points, settings, projection);
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
