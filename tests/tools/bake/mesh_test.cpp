// Meshes on the stage: every format gives the same solid, with outward normals, in grids.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <numbers>
#include <ostream>

#include "tests/tools/bake/host.h"

namespace {

using bake::Vec3;

/// A solid with its corner at (10, 20, 30): the tetrahedron of three edges of length 2.
constexpr Vec3 kCorners[] = {{10, 20, 30}, {12, 20, 30}, {10, 22, 30}, {10, 20, 32}};
constexpr int kFaces[][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};

/// A line for each face: `before`, then its corners' numbers, which start from `base`.
std::string Faces(const std::string& before, int base) {
    std::string text;
    for (const auto& f : kFaces)
        text += fmt::format("{} {} {} {}\n", before, f[0] + base, f[1] + base, f[2] + base);
    return text;
}

std::string Corner(const std::string& before, Vec3 c) {
    return fmt::format("{} {} {} {}\n", before, c.x, c.y, c.z);
}

std::string Corners(const std::string& before) {
    std::string text;
    for (const Vec3& c : kCorners) text += Corner(before, c);
    return text;
}

std::string Stl() {
    std::string text = "solid t\n";
    for (const auto& f : kFaces) {
        const Vec3 a = kCorners[f[0]];
        const Vec3 b = kCorners[f[1]];
        const Vec3 c = kCorners[f[2]];
        text += Corner("facet normal", Normalized(Cross(b - a, c - a))) + "outer loop\n" +
                Corner("vertex", a) + Corner("vertex", b) + Corner("vertex", c) +
                "endloop\nendfacet\n";
    }
    return text + "endsolid t\n";
}

/// Positions and indices, four and two bytes each, in the text form that a glTF file may hold.
std::string Base64Buffer() {
    std::vector<unsigned char> bytes;
    const auto put = [&](unsigned value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
    };
    for (const Vec3& c : kCorners)
        for (const float x : {c.x, c.y, c.z}) put(std::bit_cast<unsigned>(x), 4);
    for (const auto& f : kFaces)
        for (const int corner : f) put(static_cast<unsigned>(corner), 2);
    const char* const digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {  // 72 bytes: no padding
        const unsigned word =
            static_cast<unsigned>(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6) text += digits[word >> shift & 63];
    }
    return text;
}

std::string Gltf() {
    return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],
"nodes":[{"mesh":0,"scale":[3,3,3]}],
"meshes":[{"primitives":[{"attributes":{"POSITION":0},"indices":1}]}],
"buffers":[{"byteLength":72,"uri":"data:application/octet-stream;base64,)" +
           Base64Buffer() + R"("}],
"bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":48},
{"buffer":0,"byteOffset":48,"byteLength":24}],
"accessors":[{"bufferView":0,"componentType":5126,"count":4,"type":"VEC3",
"min":[10,20,30],"max":[12,22,32]},
{"bufferView":1,"componentType":5123,"count":12,"type":"SCALAR"}]})";
}

/// The same solid inside out: what a file without normals may be by mistake.
std::string InsideOutOff() {
    return "OFF\n4 4 0\n" + Corners("") + "3 0 1 2\n3 0 3 1\n3 0 2 3\n3 1 3 2\n";
}

/// All that stands in the room, without what belongs to the room.
std::vector<Sample> OnTheStage(const Recording& recording) {
    std::vector<Sample> samples;
    std::map<std::string, int> times;
    for (const RecordedGrid& grid : recording.grids) {
        if (++times[grid.line] > 1) continue;
        for (const Sample& s : grid.samples) {
            const Vec3& p = s.position;
            if (std::abs(p.x) < 0.999f && p.y > -0.9999f && p.y < 0.9f && p.z < 0.999f)
                samples.push_back(s);
        }
    }
    return samples;
}

struct FormatCase {
    std::string name;  // becomes the test's name
    std::string extension;
    std::string text;
};
void PrintTo(const FormatCase& tested, std::ostream* out) {
    *out << tested.name;
}

class MeshFormat : public testing::TestWithParam<FormatCase> {};

TEST_P(MeshFormat, GivesTheSolidOnTheStage) {
    const std::string file = WriteScratch("mesh" + GetParam().extension, GetParam().text);
    const auto samples = OnTheStage(Record("--density 40 --mesh " + file));
    std::remove(file.c_str());

    // Height 1.3 is what fits: the edges of 2 become 1.3, from the floor at the middle.
    const Vec3 middle = {-0.325f, -0.998f + 0.325f, 0.325f};
    const float third = 1 / std::sqrt(3.0f);
    const Vec3 sides[] = {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}, {third, third, -third}};
    double area = 0;
    double outwards = 0;
    double light_on_slant = 0;
    for (const Sample& s : samples) {
        area += s.area;
        outwards += Dot(s.normal, Normalized(s.position - middle)) > 0 ? s.area : 0;
        EXPECT_TRUE(std::any_of(std::begin(sides), std::end(sides), [&](Vec3 side) {
            return Dot(s.normal, side) > 0.999f;
        })) << "normals must not be smoothed over the solid's edges";
        light_on_slant += Dot(s.normal, sides[3]) > 0.999f ? s.area * s.radiosity.y : 0;
    }
    const double expected = 1.3 * 1.3 * (1.5 + std::sqrt(3.0) / 2);
    EXPECT_NEAR(area, expected, 0.01 * expected);
    EXPECT_NEAR(outwards, area, 0.01 * expected);
    EXPECT_GT(light_on_slant, 0.1 * area) << "the side towards the lamp must not be dark";
}

INSTANTIATE_TEST_SUITE_P(
    Formats, MeshFormat,
    testing::Values(FormatCase{"Obj", ".obj", Corners("v ") + Faces("f", 1)},
                    FormatCase{"Off", ".off", "OFF\n4 4 0\n" + Corners("") + Faces("3", 0)},
                    FormatCase{"InsideOut", ".off", InsideOutOff()},
                    FormatCase{"Ply", ".ply",
                               "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\n"
                               "property float y\nproperty float z\nelement face 4\n"
                               "property list uchar int vertex_indices\nend_header\n" +
                                   Corners("") + Faces("3", 0)},
                    FormatCase{"Stl", ".stl", Stl()}, FormatCase{"Gltf", ".gltf", Gltf()}),
    [](const auto& tested) { return tested.param.name; });

TEST(Mesh, TurnsItsFrontToTheRight) {
    // A square that looks towards +z, as an object file's front does.
    const std::string file =
        WriteScratch("front.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n");
    for (const Sample& s : OnTheStage(Record("--mesh " + file)))
        EXPECT_NEAR(s.normal.z, -1, 1e-5) << "the front faces the eye";
    for (const Sample& s : OnTheStage(Record("--turn 90 --mesh " + file)))
        EXPECT_NEAR(s.normal.x, 1, 1e-5);
    std::remove(file.c_str());
}

TEST(Mesh, SmoothsComputedNormalsOverGentleEdges) {
    // Half a pipe in flat strips of 15 degrees; their own normals are off by up to 7.5.
    std::string text;
    for (int i = 0; i <= 12; ++i) {
        const double angle = i * std::numbers::pi / 12;
        text += fmt::format("v {0} {1} 1\nv {0} {1} -1\n", std::cos(angle), std::sin(angle));
        if (i > 0) text += "f -4 -2 -1 -3\n";
    }
    const std::string file = WriteScratch("pipe.obj", text);
    for (const Sample& s : OnTheStage(Record("--density 60 --mesh " + file))) {
        // The last strips have one neighbour only.
        if (std::abs(s.position.x) > 0.7f) continue;
        const Vec3 exact = Normalized(Vec3{s.position.x, s.position.y + 0.998f, 0});
        EXPECT_GT(Dot(s.normal, exact), 0.9993f);
    }
    std::remove(file.c_str());
}

TEST(Mesh, GridsAreNeighbourhoodsWhateverTheOrderInTheFile) {
    // A field of small triangles, listed column by column from alternating ends.
    std::string text;
    constexpr int kEdge = 60;
    for (int i = 0; i < kEdge * kEdge; ++i) {
        const int place = i % 2 ? kEdge * kEdge - i : i;
        text += fmt::format("v {0} {1} 0\nv {0}.9 {1} 0\nv {0} {1}.9 0\nf -3 -2 -1\n",
                            place / kEdge, place % kEdge);
    }
    const std::string file = WriteScratch("field.obj", text);
    const Recording recording = Record("--mesh " + file);
    std::remove(file.c_str());
    float widest = 0;
    for (const RecordedGrid& grid : recording.grids)
        for (const Sample& s : grid.samples)
            widest = std::max(widest, Length(s.position - grid.samples[0].position));
    EXPECT_GT(OnTheStage(recording).size(), std::size_t{kEdge * kEdge - 1});
    EXPECT_LT(widest, 1.5f) << "the whole field is 1.8 across, a grid of the walls 1.4";
}

}  // namespace
