// Which pixels discs cover, and which of two discs is seen.

#include "tools/ptc/discs.h"

#include <gtest/gtest.h>

namespace view {

namespace {

constexpr int kSize = 40;
constexpr Rgb kRed{255, 0, 0};
constexpr Rgb kBlue{0, 0, 255};
constexpr Rgb kBack{0, 0, 0};

const Frame kFrame = {kSize * DiscCanvas::kSide, kSize* DiscCanvas::kSide, 1};

/// x and y from -1 to 1 are the picture, z goes away from the eye.
const ViewCamera kParallel = *CameraOfMatrix(
    std::array<float, 16>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0.1f, 0, 0, 0, 0, 1}, kFrame);
/// The same at z = 1, growing with the distance from an eye at the origin.
const ViewCamera kPerspective = *CameraOfMatrix(
    std::array<float, 16>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 0}, kFrame);

struct Painted {
    Disc disc;
    Rgb colour;
};

Picture Paint(const ViewCamera& camera, const std::vector<Painted>& discs) {
    DiscCanvas canvas(kSize, kSize);
    for (const Painted& painted : discs) canvas.Draw(camera, painted.disc, painted.colour);
    Picture picture(kSize, kSize, kBack);
    canvas.PutOnto(&picture, Srgb());
    return picture;
}

/// The pixel at normalised device coordinates.
Rgb At(const Picture& picture, double x, double y) {
    return picture.At(static_cast<int>((1 + x) / 2 * kSize), static_cast<int>((1 - y) / 2 * kSize));
}

std::size_t Covered(const Picture& picture) {
    std::size_t count = 0;
    for (const Rgb pixel : picture.Pixels()) count += pixel != kBack;
    return count;
}

TEST(PtcDiscs, TheNearerHidesTheFartherInAnyOrder) {
    const Painted near = {{{0.2, 0, 1}, {0, 0, -1}, 0.3}, kRed};
    const Painted far = {{{-0.2, 0, 2}, {0, 0, -1}, 0.4}, kBlue};
    for (const auto& order : {std::vector{near, far}, std::vector{far, near}}) {
        for (const ViewCamera& camera : {kParallel, kPerspective}) {
            const Picture picture = Paint(camera, order);
            EXPECT_EQ(At(picture, 0, 0), kRed);
            EXPECT_EQ(At(picture, -0.2, 0.02), kBlue);
            EXPECT_EQ(At(picture, 0, 0.9), kBack);
        }
    }
}

TEST(PtcDiscs, DiscsThatCutEachOtherEachHideHalf) {
    const Picture picture = Paint(
        kPerspective, {{{{0, 0, 2}, {-1, 0, -1}, 1}, kRed}, {{{0, 0, 2}, {1, 0, -1}, 1}, kBlue}});
    // The red one's plane is x + z = 2, so its right half is the nearer one.
    EXPECT_EQ(At(picture, 0.2, 0), kRed);
    EXPECT_EQ(At(picture, -0.2, 0), kBlue);
}

TEST(PtcDiscs, ShapeFollowsTheNormalAndBothFacesAreDrawn) {
    const struct {
        const char* name;
        Vector3 normal;
        bool is_wide;  // reaches 0.4 to the right
        bool is_high;  // and upwards
    } cases[] = {
        {"towards the eye", {0, 0, -1}, true, true},
        {"away from the eye", {0, 0, 1}, true, true},
        {"turned aside", {0.9, 0, -0.436}, false, true},
        {"turned upwards, not of unit length", {0, -18, 8.7}, true, false},
        {"none", {0, 0, 0}, true, true},
    };
    for (const auto& [name, normal, is_wide, is_high] : cases) {
        SCOPED_TRACE(name);
        const Picture picture = Paint(kParallel, {{{{0, 0, 1}, normal, 0.5}, kRed}});
        EXPECT_EQ(At(picture, 0, 0), kRed);
        EXPECT_EQ(At(picture, 0.4, 0), is_wide ? kRed : kBack);
        EXPECT_EQ(At(picture, 0, 0.4), is_high ? kRed : kBack);
        EXPECT_EQ(At(picture, 0.4, 0.4), kBack) << "discs are round";
    }
}

TEST(PtcDiscs, EdgesAreMixedInLinearLight) {
    const Picture picture = Paint(kParallel, {{{{0, 0, 1}, {0, 0, -1}, 0.5}, {255, 255, 255}}});
    double light = 0;
    std::size_t mixed = 0;
    for (const Rgb pixel : picture.Pixels()) {
        light += Srgb().Decode(pixel.r);
        mixed += pixel.r != 0 && pixel.r != 255;
    }
    constexpr double kArea = 3.14159 * 10 * 10;
    EXPECT_NEAR(light, kArea, kArea * 0.02);
    EXPECT_GT(mixed, 20u);
}

TEST(PtcDiscs, OverlapsInOnePlanePartHalfWay) {
    const Painted left = {{{-0.2, 0, 1}, {0, 0, -1}, 0.6}, kRed};
    const Painted right = {{{0.2, 0, 1}, {0, 0, -1}, 0.6}, kBlue};
    const Picture one = Paint(kParallel, {left, right});
    EXPECT_EQ(At(one, -0.1, 0), kRed);
    EXPECT_EQ(At(one, 0.1, 0), kBlue);
    EXPECT_EQ(one.Pixels(), Paint(kParallel, {right, left}).Pixels());
}

TEST(PtcDiscs, PointsTooSmallToSeeAreDots) {
    for (const double radius : {0.0, 1e-30, 0.001}) {
        const std::size_t covered =
            Covered(Paint(kPerspective, {{{{0, 0, 1}, {0, 0, -1}, radius}, kRed}}));
        EXPECT_GE(covered, 1u) << radius;
        EXPECT_LE(covered, 4u) << radius;
    }
}

TEST(PtcDiscs, WhatCannotBeSeenLeavesNothing) {
    const Disc cases[] = {
        {{0, 0, -1}, {0, 0, 1}, 0.5},         // behind the eye
        {{0, 0, 0}, {0, 0, 1}, 0.5},          // at the eye
        {{0, 0, 0.1}, {1, 0, 0}, 0.5},        // around the eye
        {{9, 0, 1}, {0, 0, 1}, 0.5},          // beside the picture
        {{3e38, 3e38, 1e-30}, {0, 1, 0}, 1},  // beyond any picture
    };
    for (const Disc& disc : cases)
        EXPECT_EQ(Covered(Paint(kPerspective, {{disc, kRed}})), 0u) << disc.centre.z;
}

TEST(PtcDiscs, DiscsBeyondTheEdgeAreCutOff) {
    const Picture picture = Paint(kPerspective, {{{{-1, 1, 1}, {0, 0, -1}, 0.5}, kRed},
                                                 {{{0, 0, 9}, {0, 0, -1}, 1e6}, kBlue}});
    EXPECT_EQ(At(picture, -0.99, 0.99), kRed);
    EXPECT_EQ(At(picture, 0.99, -0.99), kBlue);
    EXPECT_EQ(Covered(picture), picture.Pixels().size());
}

}  // namespace

}  // namespace view
