// Which pixels discs cover, and which of two discs is seen.

#include "tools/ptc/view/discs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/tools/ptc/plain_canvas.h"

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

/// Discs of any size in a box around the cameras' pictures, some on a raster of depths so that many
/// are equally near, one in four without a normal.
std::vector<Painted> RandomDiscs(int count, double radius, std::mt19937* random) {
    const auto from = [random](double low, double high) {
        return low + (high - low) * static_cast<double>((*random)()) / 0x1p32;
    };
    std::vector<Painted> discs;
    for (int i = 0; i < count; ++i) {
        const double z = i % 3 ? from(-0.5, 3) : static_cast<double>(i % 7) / 4;
        const Vec3d normal = i % 4 ? Vec3d{from(-1, 1), from(-1, 1), from(-1, 1)} : Vec3d{};
        const auto byte = [&] { return static_cast<std::uint8_t>((*random)()); };
        const double off = i % 11 == 4 ? 0 : 1.3;  // 0: on the axis
        discs.push_back({{{from(-off, off), from(-off, off), z}, normal, radius * from(0, 1)},
                         {byte(), byte(), byte()}});
    }
    return discs;
}

// Batches are drawn in other ways than single discs: none may change a sample.
TEST(PtcDiscs, BatchesDrawEverySampleAsOneDiscAfterTheOtherDoes) {
    std::mt19937 random(1);
    const Frame wide = {50 * 3, 21 * 3, 1};
    const struct {
        ViewCamera camera;
        int width, height;
    } views[] = {
        {kParallel, kSize, kSize},
        {kPerspective, kSize, kSize},
        {FittedCamera({{-1, -1, 0}, {1, 1, 2}}, {130, -40}, wide), 50, 21},
        {kPerspective, 1, 2},
        // No line of sight has a length that a number holds.
        {{{{1e90, 0, 0}, 60}, {{0, 1e90, 0}, 60}, {{}, 1}, {{}, 1}}, kSize, kSize},
    };
    for (const auto& [camera, width, height] : views)
        for (const double radius : {0.0, 0.01, 0.06, 0.1, 0.5, 20.0}) {
            const std::vector<Painted> discs = RandomDiscs(1500, radius, &random);
            DiscCanvas canvas(width, height);
            PlainCanvas plain(width, height);
            const DiscCanvas::Looks looks = {[&](std::size_t i) { return discs[i].disc.normal; },
                                             [&](std::size_t i, Rgb* colour) {
                                                 *colour = discs[i].colour;
                                                 return i % 5 != 0;
                                             }};
            DiscBatch batch;
            for (std::size_t i = 0; i < discs.size(); ++i) {
                const Disc& disc = discs[i].disc;
                if (i % 5 != 0) plain.Draw(camera, disc, discs[i].colour);
                batch.Add(disc.centre, disc.radius, Dot(disc.normal, disc.normal) > 0, i);
                if (!batch.IsFull() && i + 1 < discs.size()) continue;
                canvas.DrawAll(camera, &batch, looks);
                batch.Clear();
            }
            Picture picture(width, height, kBack), expected(width, height, kBack);
            canvas.PutOnto(&picture, Srgb());
            plain.PutOnto(&expected, Srgb());
            EXPECT_TRUE(picture.Pixels() == expected.Pixels()) << width << " wide, " << radius;
        }
}

}  // namespace

}  // namespace view
