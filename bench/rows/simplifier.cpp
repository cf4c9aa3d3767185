// The simplifier beside the plain algorithm, how its time grows, and very many points at one place.

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "bench/rows/row.h"
#include "driver/simplify.h"
#include "tests/support/plain_simplify.h"

namespace {

enum class Kind {
    kEven,       ///< a surface, points at random places
    kClustered,  ///< a surface with large gaps
    kRows,       ///< a surface in grids of 16 by 16 points, as a renderer delivers it
    kOnePlace,
};

/// A cloud, and a copy to be thinned.
class Cloud {
public:
    Cloud(std::size_t count, Kind kind) : data_(count, 0.5f), count_(count) {
        std::mt19937 random(1);
        const auto uniform = [&] { return static_cast<float>(random() >> 8) * 0x1p-24f; };
        constexpr std::size_t kSide = 16;
        const auto grids = static_cast<std::size_t>(
            std::ceil(std::sqrt(static_cast<double>(count) / (kSide * kSide))));
        const auto width = static_cast<float>(grids * kSide);
        for (std::size_t i = 0; i < count; ++i) {
            float x = uniform();
            float y = uniform();
            const std::size_t grid = i / (kSide * kSide);
            if (kind == Kind::kRows) {
                const std::size_t column = grid % grids * kSide + i % kSide;
                const std::size_t row = grid / grids * kSide + i / kSide % kSide;
                x = (static_cast<float>(column) + 0.5f) / width;
                y = (static_cast<float>(row) + 0.5f) / width;
            } else if (kind == Kind::kClustered) {
                x = std::floor(x * 16) / 16 + x * x * 0.02f;
                y = std::floor(y * 16) / 16 + y * x * 0.02f;
            } else if (kind == Kind::kOnePlace) {
                x = y = 0.5f;
            }
            const float z = 0.2f * std::sin(7 * x) * std::cos(5 * y);
            const float radius = 0.7f / std::sqrt(static_cast<float>(count));
            records_.push_back({{{x, y, z}, {0, 0, 1}, radius}, nullptr});
        }
        settings_.max_distance = 4 / std::sqrt(static_cast<float>(count));
        settings_.area_flags = {0};
        projection_.world_to_ndc = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 2};
        projection_.format = {2, 2, 1};
    }

    double Count() const { return static_cast<double>(count_); }
    void MeasureInPixels() { settings_.is_raster_space = true; }

    void Reset() {
        thinned_ = records_;
        rows_ = data_;
        for (std::size_t i = 0; i < count_; ++i) thinned_[i].data = &rows_[i];
        removed_.assign(count_, 0);
    }
    void Thin() { Simplify(thinned_, removed_, settings_, projection_); }
    void ThinPlainly() { plain_simplify::Run(thinned_, removed_, settings_, projection_); }
    void Sort() {
        std::sort(thinned_.begin(), thinned_.end(), [](const auto& a, const auto& b) {
            const float *const p = a.head.position, *const q = b.head.position;
            return std::tie(p[0], p[1], p[2]) < std::tie(q[0], q[1], q[2]);
        });
    }

private:
    std::vector<PointRecord> records_;
    std::vector<float> data_;
    std::size_t count_;
    SimplifySettings settings_;
    Projection projection_;

    std::vector<PointRecord> thinned_;
    std::vector<float> rows_;
    std::vector<std::uint8_t> removed_;
};

constexpr std::size_t kMillion = 1'000'000;

Row AgainstPlain(const std::string& what, std::size_t count, Kind kind, double goal) {
    const auto cloud = std::make_shared<Cloud>(count, kind);
    Row row;
    row.what = what + ", " + std::to_string(count / 1000) + "k";
    row.limit_name = "plain algorithm";
    row.goal = goal;
    row.items = cloud->Count();
    row.before_turn = [cloud] { cloud->Reset(); };
    row.limit = [cloud] { cloud->ThinPlainly(); };
    row.ours = [cloud] { cloud->Thin(); };
    row.figure = RowFigure::kSpeed;
    row.rounds = count < kMillion ? 15 : 3;
    return row;
}

Row Growth(const std::string& what, Kind kind) {
    const auto small = std::make_shared<Cloud>(kMillion / 10, kind);
    const auto large = std::make_shared<Cloud>(kMillion, kind);
    Row row;
    row.what = what + ", growth to 1000k";
    row.limit_name = "100k";
    row.goal = 12;
    row.items = large->Count();
    row.before_turn = [small, large] {
        small->Reset();
        large->Reset();
    };
    row.limit = [small] { small->Thin(); };
    row.ours = [large] { large->Thin(); };
    return row;
}

Row OnePlace(bool is_raster) {
    const auto cloud = std::make_shared<Cloud>(kMillion, Kind::kOnePlace);
    if (is_raster) cloud->MeasureInPixels();
    Row row;
    row.what = is_raster ? "one place, 1000k, in pixels" : "one place, 1000k";
    row.limit_name = "sorting the records";
    row.goal = 8;
    row.items = cloud->Count();
    row.before_turn = [cloud] { cloud->Reset(); };
    row.limit = [cloud] { cloud->Sort(); };
    row.ours = [cloud] { cloud->Thin(); };
    return row;
}

}  // namespace

int main(int count, char** arguments) {
    std::vector<Row> rows;
    for (const std::size_t points : {kMillion / 100, kMillion / 10, kMillion}) {
        rows.push_back(AgainstPlain("even surface", points, Kind::kEven, 5));
        rows.push_back(
            AgainstPlain("clusters", points, Kind::kClustered, points == kMillion ? 20 : 5));
        rows.push_back(AgainstPlain("grids", points, Kind::kRows, 5));
    }
    rows.push_back(Growth("even surface", Kind::kEven));
    rows.push_back(Growth("clusters", Kind::kClustered));
    rows.push_back(Growth("grids", Kind::kRows));
    rows.push_back(OnePlace(false));
    rows.push_back(OnePlace(true));
    return RunRows(count, arguments, rows);
}
