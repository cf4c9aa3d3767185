// The simplifier against the plain algorithm, on random clouds.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <numeric>
#include <random>

#include "driver/octree.h"
#include "driver/simplify.h"
#include "tests/driver/cloudlet.h"
#include "tests/support/plain_simplify.h"

namespace {

/// How often random clouds are tried: a multiple of `usual` in a run that takes its time.
int Rounds(int usual) {
    const char* const times = std::getenv("PTC_SIMPLIFY_ROUNDS");
    return usual * (times ? std::atoi(times) : 1);
}

template <class T, std::size_t kCount>
T OneOf(std::mt19937& random, const T (&values)[kCount]) {
    return values[random() % kCount];
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
    Cloudlet plain(points);
    plain_simplify::Run(plain.records, plain.removed, settings, projection);
    const std::string expected = plain.Bytes();
    for (const bool may_compute_wide : {false, true}) {
        Cloudlet fast(points);
        SimplifyMeans means;
        means.may_compute_wide = may_compute_wide;
        Simplify(fast.records, fast.removed, settings, projection, means);
        EXPECT_TRUE(fast.Bytes() == expected) << (may_compute_wide ? "wide" : "usual");
    }
    return std::accumulate(plain.removed.begin(), plain.removed.end(), std::size_t{0});
}

TEST(DriverSimplify, AgreesWithThePlainAlgorithm) {
    std::mt19937 random(6);
    Projection projection;
    projection.world_to_ndc = {1.8f, 0, 0, 0, 0, 2.4f, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 0.2f};
    projection.format = {640, 480, 1};
    std::size_t merged = 0;
    for (int round = 0; round < Rounds(160) && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const std::size_t most = random() % 16 ? 700 : 6000;
        const Points points = RandomPoints(random, 1 + random() % most, round % 5);
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
    for (int round = 0; round < Rounds(300) && !HasFailure(); ++round) {
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

/// One axis of a cloud's points: a scale of its own, and few places or many.
struct Axis {
    explicit Axis(std::mt19937& random)
        : scale(
              OneOf(random, {1.0f, 1.0f, 1.0f, 30.0f, 1e-4f, 0.0f, 1e-20f, 3e-22f, 1e-38f, 1e12f})),
          offset(OneOf(random, {0.0f, 0.0f, 0.0f, 5.0f, -100.0f}) * scale),
          steps(OneOf(random, {1u << 20, 1u << 20, 300u, 40u, 20u, 3u})),
          jitter(OneOf(random, {0.0f, 0.0f, 3e-4f, 1e-3f, 0.1f})),
          is_walk(random() % 4 == 0) {}

    float Next(std::mt19937& random) {
        const float step = static_cast<float>(random() % steps) +
                           jitter * static_cast<float>(random() % 1000) * 1e-3f;
        if (is_walk) at += 1e-3f * (step / static_cast<float>(steps) - 0.4f);
        const float place = is_walk ? at : step / static_cast<float>(steps);
        const float value = offset + scale * place;
        return random() % 2 || value != 0 ? value : -value;
    }

    float scale, offset;
    unsigned steps;
    float jitter;  // of a step; so many distances differ by about the share that decides
    bool is_walk;
    float at = 0;
};

/// A cloud of any kind: places on grids, in walks and at random, so that many distances are equal
/// or nearly so, with a little noise or none; some numbers are odd.
Points RandomCloud(std::mt19937& random, std::size_t count) {
    Axis axes[3] = {Axis(random), Axis(random), Axis(random)};
    const float noise = OneOf(random, {0.0f, 0.0f, 1e-6f, 1e-3f, 1.0f});
    const float tilt = OneOf(random, {0.0f, 0.1f, 3.0f});
    const float radius = axes[0].scale * OneOf(random, {1e-3f, 0.01f, 1.0f});
    const unsigned odd = OneOf(random, {1u << 30, 1u << 30, 1u << 30, 2000u, 50u});
    const auto uniform = [&] { return static_cast<float>(random() % 100'000) * 1e-5f; };
    Points points;
    for (std::size_t i = 0; i < count; ++i) {
        PointHead head{};
        const float size = 1 + noise * (uniform() - 0.5f);
        for (int axis = 0; axis < 3; ++axis) head.position[axis] = size * axes[axis].Next(random);
        const float angle = tilt * uniform();
        head.normal[0] = std::sin(angle);
        head.normal[2] = std::cos(angle);
        head.radius = radius * (0.1f + uniform());
        std::vector<float> data = {uniform(), std::floor(3 * uniform()), uniform()};
        for (float* const number : {&head.position[random() % 3], &head.normal[random() % 3],
                                    &head.radius, &data[random() % 3]})
            if (random() % odd == 0)
                *number = OneOf(random, {NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 1e-45f, -3e-44f,
                                         1e-30f, 3e38f, -2e30f});
        points.push_back({head, data});
    }
    return points;
}

TEST(DriverSimplify, AgreesWithThePlainAlgorithmOnAnyCloud) {
    std::mt19937 random(41);
    std::size_t merged = 0;
    for (int round = 0; round < Rounds(240) && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const std::size_t most = OneOf(random, {40u, 400u, 400u, 400u, 3000u});
        const Points points = RandomCloud(random, 1 + random() % most);
        SimplifySettings settings;
        settings.max_distance = OneOf(random, {0.01f, 0.03f, 0.1f, 1.0f, -0.05f, 1e15f, 2e-19f});
        if (random() % 16 == 0)
            settings.max_distance = OneOf(random, {0.0f, 1e-22f, 9e-20f, 3e-21f, INFINITY, NAN});
        settings.is_raster_space = random() % 6 == 0;
        settings.min_dot = OneOf(random, {0.5f, 0.5f, 0.99f, -2.0f});
        settings.max_difference = OneOf(random, {1e15f, 1e15f, 0.5f, 0.1f, 0.0f});
        for (int k = 0; k < 3; ++k)
            settings.area_flags.push_back(static_cast<std::uint8_t>(random() % 3 == 0));
        Projection projection;
        projection.world_to_ndc[0] = 1.8f;
        projection.world_to_ndc[11] = 1;
        projection.world_to_ndc[15] = OneOf(random, {0.2f, 2.0f, -0.5f});
        projection.format[0] = 2;
        merged += ExpectAgreement(points, settings, projection);
    }
    EXPECT_GT(merged, 10'000u);
}

/// More records than are sorted in one block, and four levels of boxes.
TEST(DriverSimplify, AgreesWithThePlainAlgorithmOnLargeClouds) {
    std::mt19937 random(5);
    std::size_t merged = 0;
    for (int round = 0; round < Rounds(3) && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const std::size_t count = Octree::kBlockRecords + random() % (2 * Octree::kBlockRecords);
        const Points points = RandomPoints(random, count, OneOf(random, {0, 2, 4}));
        SimplifySettings settings;
        settings.max_distance = OneOf(random, {0.01f, 0.03f, 1e15f});
        settings.min_dot = 0.9f;
        settings.area_flags = {1, 0};
        merged += ExpectAgreement(points, settings, Projection());
    }
    EXPECT_GT(merged, 10'000u);
}

}  // namespace
