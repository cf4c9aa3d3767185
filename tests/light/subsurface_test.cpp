// Subsurface scattering: slabs against the formula, clouds against plain sums, hostile points,
// threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>

#include "light/dipole.h"
#include "ptc/access.h"
#include "ptc/access/lookup.h"
#include "ptc/light.h"
#include "tests/light/lit_clouds.h"
#include "tests/support/together.h"

namespace {

using Answer = std::array<float, 3>;

/// A material in which light gets 1 far.
PtcSubsurface MaterialOf(float absorbed) {
    PtcSubsurface material;
    std::fill_n(material.scattering, 3, 1 - absorbed);
    std::fill_n(material.absorption, 3, absorbed);
    return material;
}

class Subsurfaces : public LitClouds {
protected:
    Answer Of(std::vector<PtcManagedFile*> files, const std::array<float, 3>& place,
              const PtcSubsurface& material) {
        const PtcLight light({files.data(), static_cast<int>(files.size())});
        EXPECT_TRUE(light) << PtcLastFailure().text;
        Answer answer{};
        EXPECT_TRUE(light.Subsurface({place.data()}, material, answer.data()))
            << PtcLastFailure().text;
        return answer;
    }
};

std::vector<LitPoint> Slab(float spacing, float half) {
    std::vector<LitPoint> points;
    const int count = static_cast<int>(half / spacing);
    for (int y = -count; y <= count; ++y)
        for (int x = -count; x <= count; ++x)
            points.push_back({{static_cast<float>(x) * spacing, static_cast<float>(y) * spacing, 0},
                              {0, 0, 1},
                              spacing / 2,
                              spacing * spacing,
                              {1, 1, 1}});
    return points;
}

// The places are where the errors are greatest: a point, the corner of a cell, the middle of its
// edge.
TEST_F(Subsurfaces, EvenlyLitSlabsHaveTheFormula) {
    struct Case {
        float spacing;
        double error;
    };
    const PtcSubsurface material = MaterialOf(0.1f);
    const double total = Dipole(0.9f, 0.1f, material.refraction).Total();
    for (const Case& wanted : {Case{0.5f, 0.005}, {1, 0.005}, {2, 0.01}, {4, 0.04}}) {
        PtcManagedFile* const slab = Cloud(Slab(wanted.spacing, 30));
        const float half = wanted.spacing / 2;
        for (const std::array<float, 3>& place :
             {std::array{0.0f, 0.0f, 0.0f}, {half, half, 0}, {half, 0, 0}})
            for (const float value : Of({slab}, place, material))
                EXPECT_NEAR(value / total, 1, wanted.error) << wanted.spacing;
    }
}

/// The sum over all points, for a place that is far from each beside its size.
std::array<double, 3> PlainSum(const std::vector<LitPoint>& points,
                               const std::array<float, 3>& place, const PtcSubsurface& material,
                               bool has_area) {
    std::array<double, 3> sum{};
    for (const LitPoint& p : points) {
        double squared = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const double way = double{p.position[i]} - place[i];
            squared += way * way;
        }
        const double area = has_area ? p.area : std::numbers::pi * p.radius * p.radius;
        if (!(area > 0) || std::isinf(area) || !std::isfinite(squared)) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            if (!std::isfinite(p.colour[i])) continue;
            const Dipole dipole(material.scattering[i], material.absorption[i],
                                material.refraction);
            sum[i] += area * p.colour[i] * dipole.At(squared);
        }
    }
    return sum;
}

TEST_F(Subsurfaces, GroupsOfSeveralFilesAddUpToTheirPoints) {
    const std::vector<LitPoint> points = Ball(20000, 3);
    const std::vector<LitPoint> some(points.begin(), points.begin() + 7000);
    const std::vector<LitPoint> others(points.begin() + 7000, points.end());
    // So that a disc is small beside how far light gets.
    const PtcSubsurface material{.scattering = {0.5f, 0.5f, 0.5f},
                                 .absorption = {0.001f, 0.01f, 0.05f}};
    for (const bool has_area : {true, false}) {
        const char* const area = has_area ? "_area" : "";
        PtcManagedFile* const first = Cloud(some, area);
        PtcManagedFile* const second = Cloud(others, area);
        for (const std::array<float, 3>& place :
             {std::array{0.0f, 0.0f, 25.0f}, {30, 30, 30}, {-21, 5, 0}, {0, 0, 0}, {100, 0, 0}}) {
            const Answer answer = Of({first, second}, place, material);
            const auto sum = PlainSum(points, place, material, has_area);
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR(answer[i], sum[i], 0.02 * sum[i] + 1e-6) << i;
        }
    }
}

// Every twentieth point has a twin that must add nothing.
TEST_F(Subsurfaces, PointsThatAreNotFiniteAreLeftOut) {
    const std::vector<LitPoint> sound = Ball(2000, 4);
    std::vector<LitPoint> spoilt = sound;
    for (std::size_t i = 0; i < sound.size(); i += 20) {
        LitPoint p = sound[i];
        const float odd[] = {kNaN, kInfinity, -kInfinity};
        const float value = odd[i / 20 % 3];
        switch (i / 60 % 6) {
            case 0:
                p.position[i / 20 % 3] = value;
                break;
            case 1:
                p.area = value;
                break;
            case 2:
                p.area = i % 40 ? 0 : -5;
                break;
            case 3:
                std::fill_n(p.colour.begin(), 3, value);
                break;
            case 4:
                p.radius = kInfinity;
                p.area = 0;
                break;
            default:
                p.normal = {};
                p.colour = {};
                break;
        }
        spoilt.push_back(p);
    }
    PtcManagedFile* const file = Cloud(spoilt);
    const PtcSubsurface material;
    // Above, in the middle of the points, and on one of them.
    for (const std::array<float, 3>& place :
         {std::array{0.0f, 0.0f, 25.0f}, {0, 0, 0}, sound[40].position}) {
        const Answer with = Of({file}, place, material);
        const Answer without = Of({Cloud(sound)}, place, material);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_GT(without[i], 0);
            EXPECT_NEAR(with[i], without[i], 0.01 * without[i]) << i;
        }
    }
    // Values at the end of their range, and a place there.
    for (LitPoint& p : spoilt) {
        p.area = 3e38f;
        p.colour = {3e38f, -3e38f, 1e-45f};
    }
    for (const float far : {0.0f, 3e38f})
        for (const float value : Of({Cloud(spoilt)}, {far, 0, far}, material))
            EXPECT_TRUE(std::isfinite(value));
}

// The same bits from one thread and three, with room for all blocks and for hardly one, whatever
// was computed before.
TEST_F(Subsurfaces, AnswersDependOnNothingElse) {
    const std::vector<LitPoint> points = Ball(30000, 5);
    constexpr std::size_t kPlaces = 40;
    const PtcSubsurface materials[] = {PtcSubsurface(), MaterialOf(0.3f)};
    std::array<std::array<Answer, kPlaces>, 6> answers{};
    std::string name;
    const auto compute = [&](std::size_t begin, std::size_t step, auto& own) {
        const PtcFile file(name.c_str());
        PtcManagedFile* const files[] = {file.Get()};
        const PtcLight light({files, 1});
        for (std::size_t i = 0; i < kPlaces; ++i) {
            const std::size_t at = (begin + i * step) % kPlaces;
            ASSERT_TRUE(
                light.Subsurface({points[at].position.data()}, materials[at % 2], own[at].data()));
        }
    };
    (void)Cloud(points);
    name = folder_.File("0");
    for (const std::int64_t kilobytes : {1 << 16, 1}) {
        files_.clear();
        PtcShutdown();
        PtcConfigure(3, kilobytes, kilobytes, nullptr);
        RunTogether(3, [&](int id) {
            const auto thread = static_cast<std::size_t>(id);
            compute(7 * thread, id == 1 ? 39 : 3, answers[thread + (kilobytes > 1 ? 0 : 3)]);
        });
    }
    for (const auto& other : answers)
        for (std::size_t i = 0; i < kPlaces; ++i)
            for (std::size_t k = 0; k < 3; ++k)
                EXPECT_EQ(std::bit_cast<std::uint32_t>(other[i][k]),
                          std::bit_cast<std::uint32_t>(answers[0][i][k]));
    PtcConfigure(0, 0, 0, nullptr);
}

TEST_F(Subsurfaces, WhatCannotBeComputedIsRefused) {
    PtcManagedFile* const files[] = {Cloud(Ball(100, 6)), Cloud(Ball(100, 6), "_area", ""),
                                     Cloud(Ball(100, 6), "_area", "", false)};
    const float place[] = {0, 0, 0}, nowhere[] = {0, kNaN, 0};
    float light[] = {1, 2, 3};
    const PtcLight lit({files, 1}), black({files + 1, 1}), dark({files + 2, 1});
    EXPECT_TRUE(lit.Subsurface({place}, {}, light));
    EXPECT_GT(light[1], 0);
    EXPECT_NE(ThisThreadCache()->stats.subsurface_time.Ticks(), 0);
    EXPECT_TRUE(black.Subsurface({place}, {}, light));
    EXPECT_EQ(light[1], 0);
    EXPECT_FALSE(dark);
    EXPECT_FALSE(lit.Subsurface({place}, {}, nullptr));
    EXPECT_FALSE(lit.Subsurface({nowhere}, {}, light));
    EXPECT_FALSE(lit.Subsurface({}, {}, light));

    struct Case {
        float PtcSubsurface::*value;
        std::vector<float> bad;
    };
    for (const Case& refused : {Case{&PtcSubsurface::refraction, {0.99f, 3.01f, kNaN}},
                                {&PtcSubsurface::solid_angle, {0, 0.0009f, 2.1f, kNaN}}})
        for (const float value : refused.bad) {
            PtcSubsurface material;
            material.*refused.value = value;
            EXPECT_FALSE(lit.Subsurface({place}, material, light)) << value;
        }
    for (const float value : {-1.0f, kNaN, kInfinity})
        for (float(PtcSubsurface::*values)[3] :
             {&PtcSubsurface::scattering, &PtcSubsurface::absorption}) {
            PtcSubsurface material;
            (material.*values)[1] = value;
            EXPECT_FALSE(lit.Subsurface({place}, material, light)) << value;
        }
    PtcSubsurface clear;
    clear.scattering[0] = clear.absorption[0] = 0;
    EXPECT_FALSE(lit.Subsurface({place}, clear, light));
}

}  // namespace
