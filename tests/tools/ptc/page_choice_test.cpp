// Which points a page shows, in which order, and as what: evenness, prefixes, half floats.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "tools/ptc/page/half.h"
#include "tools/ptc/page/point_choice.h"

namespace page {

namespace {

TEST(PageHalf, RoundsToTheNearestAndToEven) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const struct {
        float value;
        std::uint16_t half;
    } cases[] = {
        {0, 0x0000},
        {-0.0f, 0x8000},
        {1, 0x3C00},
        {-2, 0xC000},
        {1 + 0x1p-11f, 0x3C00},             // half way, the lower one is even
        {1 + 0x3p-11f, 0x3C02},             // half way, the upper one is even
        {1 + 0x1p-11f + 0x1p-23f, 0x3C01},  // just above half way
        {2 - 0x1p-23f, 0x4000},             // carries into the exponent
        {0x1p-14f, 0x0400},                 // the least normal
        {0x1p-14f - 0x1p-38f, 0x0400},      // below it, but nearer to it than to a subnormal
        {0x3FFp-24f, 0x03FF},               // the largest subnormal
        {0x1p-24f, 0x0001},
        {0x1p-25f, 0x0000},
        {0x1.000002p-25f, 0x0001},
        {0x3p-25f, 0x0002},
        {-0x3p-25f, 0x8002},
        {1e-45f, 0x0000},
        {65504, 0x7BFF},
        {65519.99f, 0x7BFF},
        {65520, 0x7C00},
        {65536, 0x7C00},
        {-3e38f, 0xFC00},
        {kInfinity, 0x7C00},
        {-kInfinity, 0xFC00},
        {std::numeric_limits<float>::quiet_NaN(), 0x7E00},
    };
    for (const auto& [value, half] : cases) EXPECT_EQ(HalfOf(value), half) << value;
}

struct Place {
    float position[3];
    double u, v;  ///< on the plane
};

constexpr int kSide = 128;
constexpr float kRadius = 0.75f;  // of neighbours 1 apart: no gaps, but hardly more

/// A square of the plane that `right` and `up` span.
std::vector<Place> Plane(const double (&right)[3], const double (&up)[3]) {
    std::vector<Place> places;
    for (int i = 0; i < kSide * kSide; ++i) {
        const double u = i % kSide, v = std::floor(i / double{kSide});
        Place place{{}, u, v};
        for (std::size_t axis = 0; axis < 3; ++axis)
            place.position[axis] = static_cast<float>(right[axis] * u + up[axis] * v);
        places.push_back(place);
    }
    return places;
}

std::vector<ChosenPoint> Choose(const std::vector<Place>& places, std::uint32_t most) {
    FiniteBox box;
    for (const Place& place : places) box.Include(place.position);
    PointChoice choice({box, kRadius, static_cast<std::uint32_t>(places.size()), most});
    std::uint32_t number = 0;
    for (const Place& place : places) choice.Add(number++, place.position, kRadius);
    return choice.Take();
}

/// How well discs cover the plane: the share of the middle that none reaches, and the distance from
/// the worst place to the next centre.
struct Cover {
    double open;
    double gap;
};

constexpr int kFine = 2;  // places to look at along a spacing
constexpr int kAll = (kSide - 1) * kFine;

std::size_t IndexOf(int x, int y) {
    return static_cast<std::size_t>(y) * kAll + static_cast<std::size_t>(x);
}

Cover CoverOf(const std::vector<Place>& places, const std::vector<ChosenPoint>& chosen,
              std::uint32_t first_ones) {
    const double scale = std::sqrt(static_cast<double>(chosen.size()) / first_ones);
    const double reach = 2.5 * kSide / std::sqrt(first_ones);
    constexpr int kEdge = 16 * kFine;
    std::vector<double> distance(IndexOf(0, kAll), 1e9);
    std::vector<bool> is_covered(distance.size(), false);
    for (const ChosenPoint& point : chosen) {
        if (point.place >= first_ones) continue;
        const double radius = point.GrownRadius(1) * kRadius * scale;
        const Place& at = places[point.number];
        const auto from = [&](double x) {
            return std::max(0, static_cast<int>((x - reach) * kFine));
        };
        const auto to = [&](double x) {
            return std::min(kAll, static_cast<int>((x + reach) * kFine));
        };
        for (int y = from(at.v); y < to(at.v); ++y)
            for (int x = from(at.u); x < to(at.u); ++x) {
                const std::size_t i = IndexOf(x, y);
                const double du = (x + 0.5) / kFine - at.u, dv = (y + 0.5) / kFine - at.v;
                const double d = std::sqrt(du * du + dv * dv);
                distance[i] = std::min(distance[i], d);
                if (d <= radius) is_covered[i] = true;
            }
    }
    Cover cover{0, 0};
    double seen = 0;
    for (int y = kEdge; y < kAll - kEdge; ++y)
        for (int x = kEdge; x < kAll - kEdge; ++x) {
            const std::size_t i = IndexOf(x, y);
            cover.gap = std::max(cover.gap, distance[i]);
            cover.open += !is_covered[i];
            ++seen;
        }
    cover.open /= seen;
    return cover;
}

/// The least share of the first ones that one of the plane's quarters has.
double LeastQuarter(const std::vector<Place>& places, const std::vector<ChosenPoint>& chosen,
                    std::uint32_t first_ones) {
    double counts[4] = {};
    for (const ChosenPoint& point : chosen) {
        const Place& at = places[point.number];
        if (point.place < first_ones) ++counts[(at.u < kSide / 2.0) + 2 * (at.v < kSide / 2.0)];
    }
    return *std::min_element(counts, counts + 4) / first_ones;
}

class PageChoice : public testing::Test {
protected:
    const std::vector<Place> flat_ = Plane({1, 0, 0}, {0, 0, 1});
    const std::vector<Place> tilted_ = Plane({0.8, 0.36, 0.48}, {-0.6, 0.48, 0.64});
};

TEST_F(PageChoice, IsEvenAndClosedInAnyOrderAndSoAreItsFirstPoints) {
    std::vector<Place> shuffled = tilted_, dense = tilted_;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    // Half of the plane has ten times the points, which must not get more of the page.
    for (const Place& place : tilted_)
        if (place.u < kSide / 2.0)
            for (int copy = 1; copy < 10; ++copy) {
                dense.push_back(place);
                dense.back().position[copy % 3] += 0.01f * static_cast<float>(copy);
            }
    const struct {
        const char* name;
        const std::vector<Place>& places;
    } clouds[] = {{"flat", flat_}, {"tilted", tilted_}, {"shuffled", shuffled}, {"dense", dense}};
    for (const auto& [name, places] : clouds)
        for (const std::uint32_t most : {10000u, 5000u, 1500u}) {
            const auto chosen = Choose(places, most);
            ASSERT_EQ(chosen.size(), most);
            for (const std::uint32_t first_ones : {most, most * 2 / 3, most / 5}) {
                SCOPED_TRACE(testing::Message() << name << ", " << first_ones << " of " << most);
                const double spacing = kSide / std::sqrt(first_ones);
                const Cover cover = CoverOf(places, chosen, first_ones);
                EXPECT_GT(LeastQuarter(places, chosen, first_ones), 0.22);
                // A regular grid would have gaps of 0.71.
                EXPECT_LT(cover.gap / spacing, 1.75);
                EXPECT_LT(cover.open, first_ones == most ? 0.001 : 0.08);
            }
        }
}

TEST_F(PageChoice, HasEveryPlaceOnceAndEveryPointWhenThereIsRoom) {
    const std::vector<Place> few(flat_.begin(), flat_.begin() + 1000);
    const std::vector<Place> same(1000, flat_[7]);
    std::vector<Place> stray = flat_;
    stray.push_back({{1e30f, -1e30f, 3e38f}, 0, 0});  // all others are in one smallest cell
    for (const auto& places : {few, same, stray})
        for (const std::uint32_t most : {1u, 7u, 999u, 1000u, 50'000'000u}) {
            const auto chosen = Choose(places, most);
            ASSERT_EQ(chosen.size(), std::min<std::size_t>(most, places.size()));
            std::vector<bool> is_taken(chosen.size(), false);
            for (std::size_t i = 0; i < chosen.size(); ++i) {
                ASSERT_LT(chosen[i].place, chosen.size());
                EXPECT_FALSE(is_taken[chosen[i].place]);
                is_taken[chosen[i].place] = true;
                EXPECT_TRUE(i == 0 || chosen[i - 1].number < chosen[i].number);
                if (most > places.size()) {
                    EXPECT_EQ(chosen[i].GrownRadius(1), 1);
                }
            }
        }
}

TEST_F(PageChoice, NeitherGrowsZeroRadiiNorGrowsBeyondWhatAPointRepresents) {
    const std::vector<Place> same(1000, flat_[7]);
    for (const ChosenPoint& point : Choose(same, 10)) EXPECT_FLOAT_EQ(point.GrownRadius(1), 1);
    FiniteBox box;
    for (const Place& place : flat_) box.Include(place.position);
    PointChoice choice({box, 0, 1000, 10});
    for (std::uint32_t i = 0; i < 1000; ++i) choice.Add(i, flat_[i].position, 0);
    for (const ChosenPoint& point : choice.Take()) EXPECT_EQ(point.GrownRadius(0), 0);
}

}  // namespace

}  // namespace page
