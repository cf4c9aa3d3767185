// Dicing one triangle: cells add up to it, their discs leave no hole, slivers stay cheap.

#include <gtest/gtest.h>

#include "tools/scene/random.h"
#include "tools/scene/triangle_cells.h"

namespace {

TEST(TriangleCells, CoverTheTriangleAndStayFew) {
    constexpr float kSize = 0.1f;
    const struct {
        const char* name;
        std::array<Vec3f, 3> corners;
        int most_cells;
    } cases[] = {
        {"small", {{{0, 0, 0}, {0.1f, 0, 0}, {0.05f, 0.08f, 0}}}, 1},
        {"equilateral", {{{0, 0, 0}, {1, 0, 0}, {0.5f, 0.866f, 0}}}, 60},
        {"needle", {{{0, 0, 0}, {0.01f, 3, 0}, {-0.01f, 3, 0}}}, 32},
        {"almost right", {{{0, 0, 0}, {0, 1, 0}, {0.0005f, 1.0f, 0.9f}}}, 75},
        {"obtuse", {{{-2, 0, 0}, {2, 0, 0}, {1.9f, 0.05f, 0}}}, 42},
        {"tilted", {{{1, 2, 3}, {1.5f, 2.4f, 2}, {0.2f, 2, 3.5f}}}, 150},
    };
    for (const auto& tested : cases) {
        SCOPED_TRACE(tested.name);
        const std::array<Vec3f, 3>& corners = tested.corners;
        const auto at = [&](const scene::Barycentric& w) {
            return corners[0] * w[0] + corners[1] * w[1] + corners[2] * w[2];
        };
        std::vector<scene::Cell> cells;
        AppendCells(corners, kSize, &cells);
        EXPECT_EQ(scene::CountCells(corners, kSize), static_cast<int>(cells.size()));
        EXPECT_LE(static_cast<int>(cells.size()), tested.most_cells);

        double area = 0;
        std::vector<float> radii;
        for (const scene::Cell& cell : cells) {
            const auto& k = cell.corners;
            area += Length(Cross(at(k[2]) - at(k[0]), at(k[3]) - at(k[1]))) / 2;
            radii.push_back(0);
            for (const scene::Barycentric& corner : k)
                radii.back() = std::max(radii.back(), Length(at(corner) - at(cell.middle)));
            EXPECT_LE(radii.back(), kSize * 1.12f) << "one cell wide, and one cell of slope";
        }
        const double whole = Length(Cross(corners[1] - corners[0], corners[2] - corners[0])) / 2;
        EXPECT_NEAR(area, whole, whole * 1e-3);

        for (std::uint64_t i = 0; i < 2000; ++i) {
            auto [u, v] = scene::RandomPoint(i);
            if (u + v > 1) std::tie(u, v) = std::pair(1 - u, 1 - v);
            const Vec3f point = at({1 - u - v, u, v});
            bool covered = false;
            for (std::size_t k = 0; k < cells.size() && !covered; ++k)
                covered = Length(point - at(cells[k].middle)) <= radii[k] * 1.001f;
            EXPECT_TRUE(covered) << point.x << ' ' << point.y;
        }
    }
}

}  // namespace
