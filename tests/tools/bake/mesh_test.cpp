// Meshes on the stage: every kind of file gives the same solid, with outward normals, in grids.

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <csignal>
#include <numbers>

#include "tests/tools/bake/recording.h"
#include "tools/scene/bounded_child.h"

namespace {

/// All of a bake with the mesh that stands in the room, without what belongs to the room.
std::vector<Sample> OnTheStage(const Recording& recording) {
    std::vector<Sample> samples = recording.DistinctSamples();
    std::erase_if(samples, [](const Sample& s) {
        const Vec3f& p = s.position;
        return std::abs(p.x) > 0.999f || p.y < -0.9999f || p.y > 0.9f || p.z > 0.999f;
    });
    return samples;
}

/// The tetrahedron of three edges of length 2 from (10, 20, 30).
const std::string kCorners = "10 20 30\n12 20 30\n10 22 30\n10 20 32\n";

/// Its faces as a file of the kind that has corners of its own for each, and normals.
std::string Stl() {
    const Vec3f corners[] = {{10, 20, 30}, {12, 20, 30}, {10, 22, 30}, {10, 20, 32}};
    std::string text = "solid t\n";
    for (const auto& [i, j, k] : {std::array{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}) {
        const Vec3f n = Normalized(Cross(corners[j] - corners[i], corners[k] - corners[i]));
        text += fmt::format("facet normal {} {} {}\nouter loop\n", n.x, n.y, n.z);
        for (const int corner : {i, j, k}) {
            const Vec3f& c = corners[corner];
            text += fmt::format("vertex {} {} {}\n", c.x, c.y, c.z);
        }
        text += "endloop\nendfacet\n";
    }
    return text + "endsolid t\n";
}

TEST(Mesh, StandsOnTheStageWithItsFacesOutwardsWhateverTheFile) {
    const std::pair<const char*, std::string> files[] = {
        {"mesh.off", "OFF\n4 4 0\n" + kCorners + "3 0 2 1\n3 0 1 3\n3 0 3 2\n3 1 2 3\n"},
        {"inside_out.off", "OFF\n4 4 0\n" + kCorners + "3 0 1 2\n3 0 3 1\n3 0 2 3\n3 1 3 2\n"},
        {"mesh.stl", Stl()},
    };
    for (const auto& [name, text] : files) {
        SCOPED_TRACE(name);
        // Height 1.3 is what fits: the edges of 2 become 1.3, from the floor at the middle.
        const Vec3f middle = {-0.325f, -0.998f + 0.325f, 0.325f};
        const float third = 1 / std::sqrt(3.0f);
        const Vec3f sides[] = {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}, {third, third, -third}};
        double area = 0, outwards = 0, light_on_slant = 0;
        for (const Sample& s : OnTheStage(Record("--density 40", text, name))) {
            area += s.area;
            outwards += Dot(s.normal, Normalized(s.position - middle)) > 0 ? s.area : 0;
            EXPECT_TRUE(std::any_of(std::begin(sides), std::end(sides), [&](Vec3f side) {
                return Dot(s.normal, side) > 0.999f;
            })) << "normals must not be smoothed over the solid's edges";
            light_on_slant += Dot(s.normal, sides[3]) > 0.999f ? s.area * s.radiosity.y : 0;
        }
        const double expected = 1.3 * 1.3 * (1.5 + std::sqrt(3.0) / 2);
        EXPECT_NEAR(area, expected, 0.01 * expected);
        EXPECT_NEAR(outwards, area, 0.01 * expected);
        EXPECT_GT(light_on_slant, 0.1 * area) << "the side towards the lamp must not be dark";
    }
}

TEST(Mesh, TurnsItsFrontToTheRight) {
    // A square that looks towards +z, as an object file's front does.
    const std::string square = "OFF\n4 1 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n4 0 1 2 3\n";
    for (const Sample& s : OnTheStage(Record("", square)))
        EXPECT_NEAR(s.normal.z, -1, 1e-5) << "the front faces the eye";
    for (const Sample& s : OnTheStage(Record("--turn 90", square)))
        EXPECT_NEAR(s.normal.x, 1, 1e-5);
}

TEST(Mesh, AnOpenOneIsShadedByItsWindingUnlessToldOtherwise) {
    const struct {
        const char* name;
        const char* arguments;
        const char* face;
        float up;
    } cases[] = {
        {"upwards", "", "4 0 1 2 3\n", 1},
        {"downwards", "", "4 3 2 1 0\n", -1},
        {"flipped", "--flip", "4 3 2 1 0\n", 1},
        {"two-sided, below the eye", "--two-sided", "4 3 2 1 0\n", 1},
        {"two-sided, below the eye", "--two-sided", "4 0 1 2 3\n", 1},
    };
    for (const auto& [name, arguments, face, up] : cases) {
        SCOPED_TRACE(name);
        const std::string sheet = "OFF\n4 1 0\n0 0 0\n0 0 1\n1 0 1\n1 0 0\n";
        double light = 0;
        for (const Sample& s : OnTheStage(Record(arguments, sheet + face))) {
            EXPECT_NEAR(s.normal.y, up, 1e-5);
            light += s.radiosity.y;
        }
        EXPECT_EQ(light > 10, up > 0) << "the lamp is above";
    }
}

TEST(Mesh, WhatIsLeftOutIsCounted) {
    const ToolFolder folder;
    const std::string vertices = "0 0 0\n1 0 0\n0 1 0\n0 nan 1\n";
    folder.Write("broken.ply",
                 "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
                 "property float z\nelement face 5\nproperty list uchar int vertex_indices\n"
                 "end_header\n" +
                     vertices + "3 0 1 2\n3 0 1 9\n4 0 1 2 -1\n3 0 1 3\n3 0 1 1\n");
    folder.Write("mended.off", "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n3 0 1 9\n");
    const std::string broken = Bake(folder, "a", "--mesh broken.ply").out;
    EXPECT_NE(broken.find("mesh       1 triangles, open\n"), std::string::npos) << broken;
    EXPECT_NE(broken.find("left out   3 broken faces, 1 without area\n"), std::string::npos);
    const std::string mended = Bake(folder, "a", "--mesh mended.off").out;
    EXPECT_NE(mended.find("1 mended, first: OFF: Vertex index"), std::string::npos) << mended;
}

TEST(Mesh, ABrokenImporterEndsInTheChild) {
    const auto end_of = [](const std::function<void(std::FILE*)>& work) {
        scene::BoundedChild child(1 << 20, work);
        char byte = 0;
        EXPECT_EQ(std::fread(&byte, 1, 1, child.From()), 0u);
        return child.Wait();
    };
    EXPECT_EQ(end_of([](std::FILE*) {}), "");
    EXPECT_EQ(end_of([](std::FILE*) { (void)raise(SIGKILL); }), "ended by signal 9");
    EXPECT_EQ(end_of([](std::FILE* to) { (void)close(fileno(to)); }), "ended with status 1");
}

TEST(Mesh, NothingOfABrokenImporterOutlivesTheWait) {
    scene::BoundedChild floods(1 << 20, [](std::FILE* to) {
        while (std::fputc('x', to) != EOF) {
        }
    });
    EXPECT_EQ(floods.Wait(), "ended by signal 13");

    std::array<int, 2> ends{};  // for reading, for writing; whoever lives keeps the second open
    ASSERT_EQ(pipe(ends.data()), 0);
    scene::BoundedChild forks(1 << 20, [](std::FILE*) {
        while (fork() == 0) (void)pause();
    });
    (void)close(ends[1]);
    EXPECT_EQ(forks.Wait(), "");
    pollfd waiting{ends[0], POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 10'000), 1) << "a process is left";
    (void)close(ends[0]);
}

TEST(Mesh, SmoothsComputedNormalsOverGentleEdges) {
    // Half a pipe in flat strips of 15 degrees; their own normals are off by up to 7.5.
    std::string corners, faces;
    for (int i = 0; i <= 12; ++i) {
        const double angle = i * std::numbers::pi / 12;
        corners += fmt::format("{0} {1} 1\n{0} {1} -1\n", std::cos(angle), std::sin(angle));
        if (i > 0) faces += fmt::format("4 {} {} {} {}\n", 2 * i - 2, 2 * i - 1, 2 * i + 1, 2 * i);
    }
    for (const Sample& s :
         OnTheStage(Record("--density 60", "OFF\n26 12 0\n" + corners.append(faces)))) {
        // The last strips have one neighbour only.
        if (std::abs(s.position.x) > 0.7f) continue;
        const Vec3f exact = Normalized(Vec3f{s.position.x, s.position.y + 0.998f, 0});
        EXPECT_GT(Dot(s.normal, exact), 0.9993f);
    }
}

TEST(Mesh, GridsAreNeighbourhoodsWhateverTheOrderInTheFile) {
    // A field of small triangles, listed column by column from alternating ends.
    constexpr int kEdge = 60, kAll = kEdge * kEdge;
    std::string corners, faces;
    for (int i = 0; i < kAll; ++i) {
        const int place = i % 2 ? kAll - i : i;
        corners +=
            fmt::format("{0} {1} 0\n{0}.9 {1} 0\n{0} {1}.9 0\n", place / kEdge, place % kEdge);
        faces += fmt::format("3 {} {} {}\n", 3 * i, 3 * i + 1, 3 * i + 2);
    }
    const Recording recording =
        Record("", fmt::format("OFF\n{} {} 0\n", 3 * kAll, kAll) + corners + faces);
    float widest = 0;
    for (const RecordedGrid& grid : recording.grids)
        for (const Sample& s : grid.samples)
            widest = std::max(widest, Length(s.position - grid.samples[0].position));
    EXPECT_GT(OnTheStage(recording).size(), std::size_t{kAll - 1});
    EXPECT_LT(widest, 1.5f) << "the whole field is 1.8 across, a grid of the walls 1.4";
}

}  // namespace
