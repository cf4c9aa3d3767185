// CellGrid: which of some places are so near to a point that it may matter to them.
//
// A place that asks for points within a reach is listed in the cells that its ball touches, at most
// eight, because cells are as large as the ball or larger. Reaches differ: there are a few levels
// of cells of different sizes, and a point asks all of them. Cells share the lists of a table by a
// hash, so memory depends only on the number of places.
//
// Units      those of the positions.
// Errors     none; positions may be any finite floats.
// Ownership  owns its tables.
// Threads    any number of callers, once it is made.

#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace measure {

/// A ball, whose reach may be infinite.
struct Ball {
    std::array<float, 3> centre{};
    double reach = 0;
};

class CellGrid {
public:
    static constexpr std::size_t kMostBalls = 4096;

    /// Caller: there are at most kMostBalls.
    explicit CellGrid(std::span<const Ball> balls);

    /// Calls `visit` with the index of each ball that `position` is in, and of some others; of some
    /// of them several times. Caller: `position` is finite.
    template <class Visit>
    void VisitBalls(const float* position, Visit visit) const {
        for (const Level& level : levels_) {
            const std::uint32_t list = ListOf(CellOf(position[0], level.cells_per_unit),
                                              CellOf(position[1], level.cells_per_unit),
                                              CellOf(position[2], level.cells_per_unit));
            for (std::uint32_t i = level.begins[list]; i < level.begins[list + 1]; ++i)
                visit(level.balls[i]);
        }
    }

private:
    static constexpr int kListBits = 14;
    static constexpr std::size_t kLists = std::size_t{1} << kListBits;

    struct Level {
        double cells_per_unit = 0;
        std::vector<std::uint16_t> begins;  ///< of each list among `balls`
        std::vector<std::uint16_t> balls;
    };

    /// Never falls where `value` grows: so the cells of a ball's ends bound those of its points.
    static std::uint32_t CellOf(double value, double cells_per_unit) {
        constexpr double kMiddle = 0x1p30;
        const double cell = value * cells_per_unit + kMiddle;
        return static_cast<std::uint32_t>(std::max(0.0, std::min(2 * kMiddle, cell)));
    }
    static std::uint32_t ListOf(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
        const std::uint32_t mixed = x * 73856093U ^ y * 19349663U ^ z * 83492791U;
        return (mixed * 2654435769U) >> (32 - kListBits);
    }

    static Level MakeLevel(std::span<const Ball> balls, std::span<const std::uint16_t> members,
                           double cells_per_unit);

    std::vector<Level> levels_;
};

}  // namespace measure
