// Which pixels discs cover, and which of two discs is seen.

#include "tools/ptc/view/discs.h"

#include <gtest/gtest.h>

#include <algorithm>

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
    Rgb colour = kRed;
};

Picture Paint(const ViewCamera& camera, const std::vector<Painted>& discs) {
    DiscCanvas canvas(kSize, kSize);
    for (const Painted& painted : discs) canvas.Draw(camera, painted.disc, painted.colour);
    Picture picture(kSize, kSize, kBack);
    canvas.PutOnto(&picture, Srgb());
    return picture;
}

TEST(PtcDiscs, PixelsShowTheNearestDiscInWhicheverOrderTheyCome) {
    const struct {
        const char* name;
        const ViewCamera& camera;
        std::vector<Painted> discs;
        struct {
            double x, y;
            Rgb colour;
        } pixels[4];  // in normalised device coordinates
    } cases[] = {
        {"red is nearer",
         kParallel,
         {{{{0.2, 0, 1}, {0, 0, -1}, 0.3}}, {{{-0.2, 0, 2}, {0, 0, -1}, 0.4}, kBlue}},
         {{0, 0, kRed}, {0.4, 0, kRed}, {-0.2, 0.02, kBlue}, {0, 0.9, kBack}}},
        // The red one's plane is x + z = 2, so its right half is the nearer one.
        {"they cut each other",
         kPerspective,
         {{{{0, 0, 2}, {-1, 0, -1}, 1}}, {{{0, 0, 2}, {1, 0, -1}, 1}, kBlue}},
         {{0.2, 0, kRed}, {0.1, 0.1, kRed}, {-0.2, 0, kBlue}, {-0.1, 0.1, kBlue}}},
        {"they lie in one plane, and part half way",
         kParallel,
         {{{{-0.2, 0, 1}, {0, 0, -1}, 0.6}}, {{{0.2, 0, 1}, {0, 0, -1}, 0.6}, kBlue}},
         {{-0.1, 0, kRed}, {-0.7, 0, kRed}, {0.1, 0, kBlue}, {0.7, 0, kBlue}}},
        {"beyond the edges",
         kPerspective,
         {{{{-1, 1, 1}, {0, 0, -1}, 0.5}}, {{{0, 0, 9}, {0, 0, -1}, 1e6}, kBlue}},
         {{-0.99, 0.99, kRed}, {0.99, 0.99, kBlue}, {-0.99, -0.99, kBlue}, {0, 0, kBlue}}},
        {"round, seen from the back",
         kParallel,
         {{{{0, 0, 1}, {0, 0, 1}, 0.5}}},
         {{0, 0, kRed}, {0.4, 0, kRed}, {0, 0.4, kRed}, {0.4, 0.4, kBack}}},
        {"turned aside",
         kParallel,
         {{{{0, 0, 1}, {0.9, 0, -0.436}, 0.5}}},
         {{0, 0, kRed}, {0.4, 0, kBack}, {0, 0.4, kRed}, {0.4, 0.4, kBack}}},
        {"turned upwards, not of unit length",
         kParallel,
         {{{{0, 0, 1}, {0, -18, 8.7}, 0.5}}},
         {{0, 0, kRed}, {0.4, 0, kRed}, {0, 0.4, kBack}, {0.4, 0.4, kBack}}},
        {"without a normal",
         kParallel,
         {{{{0, 0, 1}, {0, 0, 0}, 0.5}}},
         {{0, 0, kRed}, {0.4, 0, kRed}, {0, 0.4, kRed}, {0.4, 0.4, kBack}}},
    };
    for (const auto& [name, camera, discs, pixels] : cases) {
        const Picture picture = Paint(camera, discs);
        for (const auto& [x, y, colour] : pixels)
            EXPECT_EQ(picture.At(int((1 + x) / 2 * kSize), int((1 - y) / 2 * kSize)), colour)
                << name << " at " << x << ' ' << y;
        EXPECT_EQ(Paint(camera, {discs.rbegin(), discs.rend()}).Pixels(), picture.Pixels()) << name;
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

TEST(PtcDiscs, WhatIsTooSmallToSeeIsADotAndWhatCannotBeSeenIsNothing) {
    const struct {
        Disc disc;
        bool is_dot;
    } cases[] = {
        {{{0, 0, 1}, {0, 0, -1}, 0}, true},
        {{{0, 0, 1}, {0, 0, -1}, 1e-30}, true},
        {{{0, 0, 1}, {0, 0, -1}, 0.001}, true},
        {{{0, 0, -1}, {0, 0, 1}, 0.5}, false},         // behind the eye
        {{{0, 0, 0}, {0, 0, 1}, 0.5}, false},          // at the eye
        {{{0, 0, 0.1}, {1, 0, 0}, 0.5}, false},        // around the eye
        {{{9, 0, 1}, {0, 0, 1}, 0.5}, false},          // beside the picture
        {{{3e38, 3e38, 1e-30}, {0, 1, 0}, 1}, false},  // beyond any picture
    };
    for (const auto& [disc, is_dot] : cases) {
        const Picture picture = Paint(kPerspective, {{disc}});
        const auto covered =
            picture.Pixels().size() - static_cast<std::size_t>(std::count(
                                          picture.Pixels().begin(), picture.Pixels().end(), kBack));
        EXPECT_GE(covered, is_dot ? 1u : 0u) << disc.centre.z;
        EXPECT_LE(covered, is_dot ? 4u : 0u) << disc.centre.z;
    }
}

}  // namespace

}  // namespace view
