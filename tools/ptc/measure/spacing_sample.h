// SpacingSample: how far points of a cloud are from their nearest, for a sample of them.
//
// The points of a cloud are shown twice. The first time up to 1000 of them are taken, spread evenly
// over the file, and every one of these gets a distance within which its nearest must be. The
// second time all points in these distances are tried: so the distances are exact, whatever the
// order of the points, and memory does not grow with the cloud.
//
// Units      those of the positions.
// Errors     none; points whose position is not finite are passed over.
// Ownership  less than 1 MB of its own.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/ptc/measure/cell_grid.h"
#include "tools/ptc/point_pass.h"

namespace measure {

struct Spacing {
    std::uint64_t sampled = 0;            ///< points of the sample whose position is finite
    std::optional<double> median;         ///< nothing: all points are in one place
    std::optional<double> median_radius;  ///< of the sample; nothing: no radius is finite

    std::optional<double> RadiusPerSpacing() const {
        if (!median || !median_radius) return std::nullopt;
        return *median_radius / *median;
    }
};

class SpacingSample {
public:
    static constexpr std::uint64_t kMostSampled = 1000;

    /// Of a cloud of `points`.
    explicit SpacingSample(std::uint64_t points);

    /// The first time: shows all points, in the file's order.
    void Take(const PointPiece& piece);

    /// Between the two. True: all is known, and the second time is not needed.
    bool Settle();

    /// The second time.
    void Try(const PointPiece& piece);

    /// Half of the values are below a median; of an even number it is the mean of the middle two.
    Spacing Find() const;

private:
    struct Place {
        std::array<float, 3> position{};
        std::uint64_t weight = 1;  ///< points of the sample in this very place
        double squared;            ///< the distance to the nearest other place that was tried
    };

    void TakePoint(const PointPiece& piece, std::size_t i);
    void JoinEqualPlaces();
    void MakeGrid();
    void TryPoint(Place& place, const float* position);

    const std::uint64_t sample_step_;
    const std::uint64_t kept_step_;
    std::uint64_t taken_ = 0;
    std::uint64_t tried_ = 0;
    std::uint64_t next_grid_ = 0;  ///< the grid is made anew when so many are tried
    std::vector<Place> places_;
    std::vector<double> radii_;
    std::vector<std::array<float, 3>>
        kept_;  ///< every kept_step_-th point, for the first distances
    std::optional<CellGrid> grid_;
};

}  // namespace measure
