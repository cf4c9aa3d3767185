// The bundled scene as a driver receives it: camera, geometry of the samples, light.

#include <gtest/gtest.h>

#include <numbers>

#include "tests/tools/bake/host.h"

namespace {

using bake::Vec3;

/// A row vector times a row-major matrix.
std::array<float, 4> Transform(Vec3 p, const std::vector<float>& m) {
    std::array<float, 4> result{};
    for (std::size_t c = 0; c < 4; ++c)
        result[c] = p.x * m[c] + p.y * m[4 + c] + p.z * m[8 + c] + m[12 + c];
    return result;
}

TEST(SceneCamera, ProjectsTheRoomsFrontIntoThePicture) {
    struct {
        const char* size;
        float ndc_x;  // of the front's right edge: the shorter side of the picture has 1 / 1.05
        float ndc_y;  // of its upper edge
    } const cases[] = {
        {"200x200", 1 / 1.05f, 1 / 1.05f},
        {"400x200", 0.5f / 1.05f, 1 / 1.05f},
        {"100x200", 1 / 1.05f, 0.5f / 1.05f},
    };
    for (const auto& [size, ndc_x, ndc_y] : cases) {
        const Recording recording = Record(std::string("--density 2 --size ") + size);
        const std::vector<float> to_ndc = Floats(recording.parameters.at("NP"));
        const std::vector<float> to_eye = Floats(recording.parameters.at("Nl"));
        for (const Vec3 p : {Vec3{1, 1, -1}, Vec3{-1, -1, -1}, Vec3{0.3f, -0.2f, 0.9f}}) {
            const auto clip = Transform(p, to_ndc);
            const auto eye = Transform(p, to_eye);
            EXPECT_NEAR(eye[2], p.z + 3.8f, 1e-6);
            EXPECT_NEAR(clip[3], eye[2], 1e-6) << "clip.w is the depth";
            EXPECT_NEAR(clip[0] / clip[3], p.x * ndc_x * 2.8f / eye[2], 1e-5) << size;
            EXPECT_NEAR(clip[1] / clip[3], p.y * ndc_y * 2.8f / eye[2], 1e-5) << size;
            EXPECT_GT(clip[2] / clip[3], 0);
            EXPECT_LT(clip[2] / clip[3], 1);
        }
    }
}

/// Each grid once, however often it came.
std::vector<Sample> DistinctSamples(const Recording& recording) {
    std::map<std::string, std::vector<Sample>> grids;
    for (const RecordedGrid& grid : recording.grids) grids[grid.line] = grid.samples;
    std::vector<Sample> samples;
    for (const auto& [line, some] : grids) samples.insert(samples.end(), some.begin(), some.end());
    return samples;
}

TEST(SceneSamples, AreUnitNormalsAndDiscsThatCoverTheirAreas) {
    const double pi = std::numbers::pi;
    const double walls = 5 * 4 + 0.7 * 0.6;
    const double box = 4 * std::hypot(0.56, 0.17) * 1.2 + (0.56 * 0.56 + 0.17 * 0.17);
    const double solids = 4 * pi * 0.38 * 0.38 + 4 * pi * pi * 0.28 * 0.11;
    for (const char* grid : {"--density 60", "--density 60 --grid 5"}) {
        double area = 0;
        for (const Sample& s : DistinctSamples(Record(grid))) {
            EXPECT_NEAR(Length(s.normal), 1, 1e-5);
            // Of all facets with corners at this distance, none is larger than the square.
            EXPECT_LE(s.area, 2 * s.radius * s.radius * 1.02f);
            EXPECT_LE(s.radius, 2.0f / 60 * 0.87f) << "60 degrees is the sharpest corner";
            EXPECT_GE(s.occlusion, 0);
            EXPECT_LE(s.occlusion, 1);
            area += s.area;
        }
        EXPECT_NEAR(area, walls + box + solids, 0.005 * (walls + box + solids)) << grid;
    }
}

TEST(SceneSamples, FillGridsUpToTheSizeAskedFor) {
    for (const std::size_t edge : {2u, 5u, 16u}) {
        std::size_t largest = 0;
        for (const auto& grid : Record("--density 60 --grid " + std::to_string(edge)).grids)
            largest = std::max(largest, grid.samples.size());
        EXPECT_LE(largest, edge * edge);
        EXPECT_GE(largest, edge * edge * 3 / 4);
    }
}

/// Means over the samples that `chosen` picks.
struct Mean {
    Vec3 radiosity;
    float occlusion = 0;
    float count = 0;
};
template <class Choice>
Mean MeanOf(const std::vector<Sample>& samples, const Choice& chosen) {
    Mean mean;
    for (const Sample& s : samples) {
        if (!chosen(s)) continue;
        mean.radiosity = mean.radiosity + s.radiosity;
        mean.occlusion += s.occlusion;
        mean.count += 1;
    }
    EXPECT_GT(mean.count, 3);
    return {mean.radiosity * (1 / mean.count), mean.occlusion / mean.count, mean.count};
}

TEST(SceneLight, FallsFromTheLampAndBouncesOffTheWalls) {
    const auto lit = DistinctSamples(Record("--rays 32"));
    const auto direct = DistinctSamples(Record("--rays 32 --no-bounce"));
    const auto ceiling = [](const Sample& s) { return s.position.y > 0.999f; };
    const auto floor_left = [](const Sample& s) {
        return s.position.y < -0.999f && s.position.x < -0.8f && s.position.z < -0.5f;
    };
    const auto floor_right = [](const Sample& s) {
        return s.position.y < -0.999f && s.position.x > 0.8f && s.position.z < -0.5f;
    };
    const auto under_torus = [](const Sample& s) {
        const float off_x = s.position.x + 0.18f;
        const float off_z = s.position.z + 0.5f;
        return s.position.y < -0.999f && std::hypot(off_x, off_z) < 0.35f &&
               std::hypot(off_x, off_z) > 0.21f;
    };

    EXPECT_EQ(MeanOf(direct, ceiling).radiosity.y, 0) << "the lamp shines downwards only";
    EXPECT_GT(MeanOf(lit, ceiling).radiosity.y, 0.02f);
    const Vec3 left = MeanOf(lit, floor_left).radiosity;
    const Vec3 right = MeanOf(lit, floor_right).radiosity;
    EXPECT_GT(left.x / left.y, 1.1f * right.x / right.y) << "red light from the left wall";
    EXPECT_LT(MeanOf(lit, under_torus).radiosity.y, 0.3f * left.y) << "in the torus' shadow";
    EXPECT_GT(MeanOf(lit, under_torus).occlusion, 2 * MeanOf(lit, floor_left).occlusion);
}

}  // namespace
