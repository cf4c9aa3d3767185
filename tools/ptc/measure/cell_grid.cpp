// CellGrid: the levels and their lists.

#include "tools/ptc/measure/cell_grid.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

namespace measure {

namespace {

/// About so many at most: where there are few balls of a size they go into larger cells.
constexpr std::size_t kMostLevels = 3;

/// An infinite reach has a single cell for everything.
double CellsPerUnit(double reach) {
    if (!std::isfinite(reach)) return 0;
    // The least power of two above the diameter, and of these every other one.
    const int exponent = std::ilogb(2 * reach) + 1;
    return std::ldexp(1.0, -(exponent + (exponent & 1)));
}

/// Calls `visit` with the coordinates of each cell from `low` to `high`.
template <class Visit>
void ForCells(const std::array<std::uint32_t, 3>& low, const std::array<std::uint32_t, 3>& high,
              Visit visit) {
    for (std::uint32_t x = low[0]; x <= high[0]; ++x)
        for (std::uint32_t y = low[1]; y <= high[1]; ++y)
            for (std::uint32_t z = low[2]; z <= high[2]; ++z) visit(x, y, z);
}

}  // namespace

CellGrid::CellGrid(std::span<const Ball> balls) {
    // From the smallest cells to the largest.
    std::map<double, std::vector<std::uint16_t>, std::greater<>> by_size;
    for (std::size_t i = 0; i < balls.size(); ++i)
        by_size[CellsPerUnit(balls[i].reach)].push_back(static_cast<std::uint16_t>(i));
    std::vector<std::uint16_t> members;
    std::size_t left = by_size.size();
    for (const auto& [cells_per_unit, more] : by_size) {
        members.insert(members.end(), more.begin(), more.end());
        if (--left > 0 && members.size() < balls.size() / kMostLevels) continue;
        levels_.push_back(MakeLevel(balls, members, cells_per_unit));
        members.clear();
    }
}

/// Counts the lists' lengths first, and then fills them.
CellGrid::Level CellGrid::MakeLevel(std::span<const Ball> balls,
                                    std::span<const std::uint16_t> members, double cells_per_unit) {
    Level level;
    level.cells_per_unit = cells_per_unit;
    std::vector<std::pair<std::uint32_t, std::uint16_t>> entries;
    for (const std::uint16_t member : members) {
        const Ball& ball = balls[member];
        const double reach = cells_per_unit == 0 ? 0 : ball.reach;
        std::array<std::uint32_t, 3> low{}, high{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = CellOf(ball.centre[axis] - reach, cells_per_unit);
            high[axis] = CellOf(ball.centre[axis] + reach, cells_per_unit);
        }
        ForCells(low, high, [&](std::uint32_t x, std::uint32_t y, std::uint32_t z) {
            entries.emplace_back(ListOf(x, y, z), member);
        });
    }
    std::sort(entries.begin(), entries.end());
    level.begins.resize(kLists + 1);
    for (const auto& [list, member] : entries) {
        ++level.begins[list + 1];
        level.balls.push_back(member);
    }
    for (std::size_t i = 0; i < kLists; ++i)
        level.begins[i + 1] = static_cast<std::uint16_t>(level.begins[i + 1] + level.begins[i]);
    return level;
}

}  // namespace measure
