// From a point's floats to a colour: variables, ranges, the colour map, sRGB.

#include "tools/ptc/colouring.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tools/common/failure.h"
#include "tools/ptc/colour_map.h"
#include "tools/ptc/value_sample.h"

namespace view {

namespace {

/// Of every kind one, with a float before the color.
CloudVariables Variables() {
    return {{"float", "matrix", "color", "vector", "float", "color[2]"},
            {"area", "frame", "light", "wind", "radius", "two"},
            {1, 16, 3, 3, 1, 6},
            30};
}

/// The data of a point in which every float is its own index over 32.
std::vector<float> Ramp() {
    std::vector<float> data(30);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<float>(i) / 32;
    return data;
}

TEST(PtcColouring, FindsAVariableAndItsFloats) {
    const struct {
        const char* name;
        float value;
    } cases[] = {{"area", 0}, {"radius", 23.0f / 32}};
    const PointHead point = {{1, 2, 3}, {0, 0, 1}, 7};
    for (const auto& [name, expected] : cases) {
        const Colouring colouring(Variables(), name);
        double value = -1;
        ASSERT_TRUE(colouring.IsMapped());
        EXPECT_TRUE(colouring.ValueOf(point, Ramp(), &value));
        EXPECT_EQ(value, expected) << name;
    }
    double value = -1;
    EXPECT_TRUE(Colouring({}, "radius").ValueOf(point, {}, &value));
    EXPECT_EQ(value, 7) << "a cloud's variables come first, then the point's own radius";
}

TEST(PtcColouring, AnEmptyNameIsTheFirstColorElseTheFirstFloatElseTheNormal) {
    EXPECT_EQ(Colouring(Variables(), "").Name(), "light");
    EXPECT_EQ(Colouring({{"vector", "float"}, {"v", "f"}, {3, 1}, 4}, "").Name(), "f");
    EXPECT_EQ(Colouring({{"vector"}, {"v"}, {3}, 3}, "").Name(), "normal");
}

TEST(PtcColouring, WhatHasNoColourIsRefused) {
    for (const char* name : {"frame", "two", "nothing"})
        EXPECT_THROW(Colouring(Variables(), name), Failure) << name;
}

TEST(PtcColouring, LightIsEncodedAfterTheExposure) {
    Colouring colouring({{"color"}, {"light"}, {3}, 3}, "light");
    const std::vector<float> data = {0.5f, -1, 4};
    Rgb colour;
    ASSERT_TRUE(colouring.ColourOf({}, data, Srgb(), &colour));
    EXPECT_EQ(colour, (Rgb{188, 0, 255}));
    colouring.SetExposure(-1);
    ASSERT_TRUE(colouring.ColourOf({}, data, Srgb(), &colour));
    EXPECT_EQ(colour, (Rgb{137, 0, 255}));
}

TEST(PtcColouring, DirectionsAreColouredByTheirComponents) {
    const Colouring colouring({}, "normal");
    Rgb colour;
    ASSERT_TRUE(colouring.ColourOf({{}, {0, -9, 0}, 1}, {}, Srgb(), &colour));
    EXPECT_EQ(colour, (Rgb{128, 0, 128}));
    ASSERT_TRUE(colouring.ColourOf({{}, {0, 0, 0}, 1}, {}, Srgb(), &colour));
    EXPECT_EQ(colour, (Rgb{128, 128, 128}));
}

TEST(PtcColouring, WhatIsNotFiniteHasNoColour) {
    for (const char* name : {"light", "area", "wind"})
        for (const float bad : {NAN, INFINITY}) {
            std::vector<float> data = Ramp();
            for (const std::size_t i : {0u, 19u, 22u}) data[i] = bad;
            Rgb colour;
            EXPECT_FALSE(Colouring(Variables(), name).ColourOf({}, data, Srgb(), &colour));
        }
}

TEST(PtcColouring, TheMapGrowsLighterAllTheWay) {
    double before = -1;
    for (int i = 0; i <= 64; ++i) {
        const Light light = Srgb().Decode(MapColour(i / 64.0));
        const double luminance = 0.2126 * light.r + 0.7152 * light.g + 0.0722 * light.b;
        EXPECT_GT(luminance, before) << i;
        before = luminance;
    }
    EXPECT_EQ(MapColour(-5), MapColour(0));
    EXPECT_EQ(MapColour(1e300), MapColour(1));
}

TEST(PtcColouring, EverySrgbByteSurvivesDecodingAndEncoding) {
    const Srgb srgb;
    for (int byte = 0; byte < 256; ++byte) {
        const auto expected = static_cast<std::uint8_t>(byte);
        EXPECT_EQ(srgb.Encode(srgb.Decode(expected)), expected);
    }
    EXPECT_NEAR(srgb.Decode(188), 0.5, 0.004);
}

TEST(PtcColouring, ARangePassesOverStraysAndEndsAtRoundNumbers) {
    ValueSample sample;
    for (int i = 0; i < 1000; ++i) sample.Add(0.013 + i * 0.00093);
    for (const double stray : {-1e30, 1e30, 5000.0}) sample.Add(stray);
    EXPECT_DOUBLE_EQ(sample.RobustRange().low, 0);
    EXPECT_DOUBLE_EQ(sample.RobustRange().high, 0.95);
}

TEST(PtcColouring, ARangeIsNeverEmpty) {
    for (const double value : {0.0, 3.0, -1e-40, 3e38, -3e38}) {
        ValueSample sample;
        for (int i = 0; i < 3; ++i) sample.Add(value);
        const ValueRange range = sample.RobustRange();
        EXPECT_LT(range.low, value);
        EXPECT_GT(range.high, value);
    }
    ValueSample mostly_equal;
    for (int i = 0; i < 1000; ++i) mostly_equal.Add(i == 500 ? 8 : 4);
    EXPECT_EQ(mostly_equal.RobustRange().high, 8);
}

TEST(PtcColouring, ASampleOfAMillionValuesKeepsTheirRange) {
    ValueSample sample;
    for (int i = 0; i < 1'000'000; ++i) sample.Add(i % 1000);
    const ValueRange range = sample.RobustRange();
    EXPECT_NEAR(range.low, 10, 10);
    EXPECT_NEAR(range.high, 990, 10.5);
}

}  // namespace

}  // namespace view
