// The bundled scene as a driver receives it: camera, geometry of the samples, light.

#include <array>
#include <cmath>
#include <numbers>

#include "tests/tools/bake/recording.h"

namespace {

/// A row vector times a row-major matrix.
std::array<float, 4> Transform(Vec3f p, const std::vector<float>& m) {
    std::array<float, 4> result{};
    for (std::size_t c = 0; c < 4; ++c)
        result[c] = p.x * m[c] + p.y * m[4 + c] + p.z * m[8 + c] + m[12 + c];
    return result;
}

TEST(SceneCamera, ProjectsTheRoomsFrontIntoThePicture) {
    const struct {
        const char* size;
        float ndc_x;  // of the front's right edge: the shorter side of the picture has 1 / 1.05
        float ndc_y;  // of its upper edge
    } cases[] = {
        {"400x200", 0.5f / 1.05f, 1 / 1.05f},
        {"100x200", 1 / 1.05f, 0.5f / 1.05f},
    };
    for (const auto& [size, ndc_x, ndc_y] : cases) {
        const Recording recording = Record(std::string("--density 2 --size ") + size);
        for (const Vec3f p : {Vec3f{1, 1, -1}, Vec3f{-1, -1, -1}, Vec3f{0.3f, -0.2f, 0.9f}}) {
            const auto clip = Transform(p, recording.Floats("NP"));
            const auto eye = Transform(p, recording.Floats("Nl"));
            EXPECT_NEAR(eye[2], p.z + 3.8f, 1e-6);
            EXPECT_NEAR(clip[3], eye[2], 1e-6) << "clip.w is the depth";
            EXPECT_NEAR(clip[0] / clip[3], p.x * ndc_x * 2.8f / eye[2], 1e-5) << size;
            EXPECT_NEAR(clip[1] / clip[3], p.y * ndc_y * 2.8f / eye[2], 1e-5) << size;
            EXPECT_TRUE(clip[2] > 0 && clip[2] < clip[3]);
        }
    }
}

TEST(SceneSamples, FillTheirGridsWithDiscsThatCoverTheSurfaces) {
    const double pi = std::numbers::pi;
    const double walls = 5 * 4 + 0.7 * 0.6;
    const double box = 4 * std::hypot(0.56, 0.17) * 1.2 + (0.56 * 0.56 + 0.17 * 0.17);
    const double solids = 4 * pi * 0.38 * 0.38 + 4 * pi * pi * 0.28 * 0.11;
    for (const std::size_t edge : {2u, 5u, 16u}) {
        const Recording recording = Record("--density 60 --grid " + std::to_string(edge));
        std::size_t largest = 0;
        for (const auto& grid : recording.grids) largest = std::max(largest, grid.samples.size());
        EXPECT_LE(largest, edge * edge);
        EXPECT_GE(largest, edge * edge * 3 / 4);
        double area = 0;
        for (const Sample& s : recording.DistinctSamples()) {
            EXPECT_NEAR(Length(s.normal), 1, 1e-5);
            // Of all facets with corners at this distance, none is larger than the square.
            EXPECT_LE(s.area, 2 * s.radius * s.radius * 1.02f);
            EXPECT_LE(s.radius, 2.0f / 60 * 0.87f) << "60 degrees is the sharpest corner";
            EXPECT_TRUE(s.occlusion >= 0 && s.occlusion <= 1);
            area += s.area;
        }
        EXPECT_NEAR(area, walls + box + solids, 0.005 * (walls + box + solids)) << edge;
    }
}

/// Mean radiosity and occlusion of the samples that `chosen` picks.
template <class Choice>
std::pair<Vec3f, float> MeanOf(const std::vector<Sample>& samples, const Choice& chosen) {
    Vec3f radiosity;
    float occlusion = 0, count = 0;
    for (const Sample& s : samples) {
        if (!chosen(s)) continue;
        radiosity = radiosity + s.radiosity;
        occlusion += s.occlusion;
        count += 1;
    }
    EXPECT_GT(count, 3);
    return {radiosity * (1 / count), occlusion / count};
}

TEST(SceneLight, FallsFromTheLampAndBouncesOffTheWalls) {
    const auto lit = Record("--rays 32").DistinctSamples();
    const auto direct = Record("--rays 32 --no-bounce").DistinctSamples();
    const auto ceiling = [](const Sample& s) { return s.position.y > 0.999f; };
    const auto floor_by = [](float wall) {
        return [=](const Sample& s) {
            return s.position.y < -0.999f && s.position.x * wall > 0.8f && s.position.z < -0.5f;
        };
    };
    const auto under_torus = [](const Sample& s) {
        const float off_centre = std::hypot(s.position.x + 0.18f, s.position.z + 0.5f);
        return s.position.y < -0.999f && off_centre > 0.21f && off_centre < 0.35f;
    };
    EXPECT_EQ(MeanOf(direct, ceiling).first.y, 0) << "the lamp shines downwards only";
    EXPECT_GT(MeanOf(lit, ceiling).first.y, 0.02f);
    const auto [left, left_occlusion] = MeanOf(lit, floor_by(-1));
    const Vec3f right = MeanOf(lit, floor_by(1)).first;
    EXPECT_GT(left.x / left.y, 1.1f * right.x / right.y) << "red light from the left wall";
    const auto [shaded, occlusion] = MeanOf(lit, under_torus);
    EXPECT_LT(shaded.y, 0.3f * left.y) << "in the torus' shadow";
    EXPECT_GT(occlusion, 2 * left_occlusion);
    for (const Sample& s : lit) {
        const bool glows = s.position.y == 0.995f;
        ASSERT_EQ(s.reflected, glows ? Vec3f{} : s.radiosity) << "at height " << s.position.y;
    }
}

}  // namespace
