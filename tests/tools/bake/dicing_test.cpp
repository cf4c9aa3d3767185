// Dicing one triangle: cells add up to it, their discs leave no hole, slivers stay cheap.

#include <gtest/gtest.h>

#include <ostream>

#include "tools/bake/random.h"
#include "tools/bake/triangle_cells.h"

namespace {

using bake::Barycentric;
using bake::Vec3;

constexpr float kSize = 0.1f;

struct TriangleCase {
    std::string name;  // becomes the test's name
    std::array<Vec3, 3> corners;
    int most_cells;
};
void PrintTo(const TriangleCase& tested, std::ostream* out) {
    *out << tested.name;
}

class TriangleCells : public testing::TestWithParam<TriangleCase> {
protected:
    Vec3 At(const Barycentric& w) const {
        const auto& [a, b, c] = GetParam().corners;
        return a * w[0] + b * w[1] + c * w[2];
    }
};

TEST_P(TriangleCells, CoverTheTriangle) {
    const auto& [a, b, c] = GetParam().corners;
    std::vector<bake::Cell> cells;
    AppendCells(GetParam().corners, kSize, &cells);
    EXPECT_EQ(bake::CountCells(GetParam().corners, kSize), static_cast<int>(cells.size()));
    EXPECT_LE(static_cast<int>(cells.size()), GetParam().most_cells);

    double area = 0;
    std::vector<float> radii;
    for (const bake::Cell& cell : cells) {
        const auto& k = cell.corners;
        area += Length(Cross(At(k[2]) - At(k[0]), At(k[3]) - At(k[1]))) / 2;
        float radius = 0;
        for (const Barycentric& corner : k)
            radius = std::max(radius, Length(At(corner) - At(cell.middle)));
        radii.push_back(radius);
        EXPECT_LE(radius, kSize * 1.12f) << "one cell wide, and one cell of slope";
    }
    const double whole = Length(Cross(b - a, c - a)) / 2;
    EXPECT_NEAR(area, whole, whole * 1e-3);

    for (std::uint64_t i = 0; i < 2000; ++i) {
        auto [u, v] = bake::RandomPoint(i);
        if (u + v > 1) std::tie(u, v) = std::pair(1 - u, 1 - v);
        const Vec3 point = At({1 - u - v, u, v});
        bool covered = false;
        for (std::size_t k = 0; k < cells.size() && !covered; ++k)
            covered = Length(point - At(cells[k].middle)) <= radii[k] * 1.001f;
        EXPECT_TRUE(covered) << point.x << ' ' << point.y;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, TriangleCells,
    testing::Values(TriangleCase{"Small", {{{0, 0, 0}, {0.1f, 0, 0}, {0.05f, 0.08f, 0}}}, 1},
                    TriangleCase{"Equilateral", {{{0, 0, 0}, {1, 0, 0}, {0.5f, 0.866f, 0}}}, 60},
                    TriangleCase{"Right", {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}}, 75},
                    TriangleCase{"Needle", {{{0, 0, 0}, {0.01f, 3, 0}, {-0.01f, 3, 0}}}, 32},
                    TriangleCase{
                        "AlmostRight", {{{0, 0, 0}, {0, 1, 0}, {0.0005f, 1.0f, 0.9f}}}, 75},
                    TriangleCase{"Obtuse", {{{-2, 0, 0}, {2, 0, 0}, {1.9f, 0.05f, 0}}}, 42},
                    TriangleCase{"Tilted", {{{1, 2, 3}, {1.5f, 2.4f, 2}, {0.2f, 2, 3.5f}}}, 150}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
