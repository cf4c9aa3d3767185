// From a point's floats to a colour: variables, ranges, the colour map, sRGB.

#include "tools/ptc/view/colouring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "tools/common/failure.h"
#include "tools/ptc/view/colour_map.h"
#include "tools/ptc/view/value_sample.h"

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

TEST(PtcColouring, FindsAVariableThenAPointsOwnRadiusThenOneFloatOfAVariable) {
    const PointHead point = {{1, 2, 3}, {0, 0, 1}, 7};
    const auto value_of = [&](const CloudVariables& variables, const char* name) {
        const Colouring colouring(variables, name);
        double value = -1;
        EXPECT_TRUE(colouring.IsMapped() && colouring.ValueOf(point, Ramp(), &value));
        return value;
    };
    EXPECT_EQ(value_of(Variables(), "area"), 0);
    EXPECT_EQ(value_of(Variables(), "radius"), 23.0 / 32);
    EXPECT_EQ(value_of({}, "radius"), 7);
    EXPECT_EQ(value_of(Variables(), "frame_15"), 16.0 / 32);
    EXPECT_EQ(value_of(Variables(), "light_g"), 18.0 / 32);
    EXPECT_EQ(value_of(Variables(), "wind_z"), 22.0 / 32);
    for (const char* name : {"frame", "two", "two_6", "wind_r", "light_", "area_", "nothing"})
        EXPECT_THROW(Colouring(Variables(), name), Failure) << name;
}

TEST(PtcColouring, AnEmptyNameIsTheFirstColorElseTheFirstFloatElseTheNormal) {
    EXPECT_EQ(Colouring(Variables(), "").Name(), "light");
    EXPECT_EQ(Colouring({{"vector", "float"}, {"v", "f"}, {3, 1}, 4}, "").Name(), "f");
    EXPECT_EQ(Colouring({{"vector"}, {"v"}, {3}, 3}, "").Name(), "normal");
}

TEST(PtcColouring, LightIsExposedAndEncodedAndDirectionsAreTheirComponents) {
    const struct {
        const char* name;
        double exposure;
        ValueRange range;
        PointHead point;
        Rgb colour;
    } cases[] = {
        {"light", 0, {}, {}, {188, 0, 255}},
        {"light", -1, {}, {}, {137, 0, 255}},
        {"light", 0, {0, 8}, {}, {71, 0, 188}},
        {"light", 1, {-1, 15}, {}, {120, 0, 207}},
        {"normal", 0, {}, {{}, {0, -9, 0}, 1}, {128, 0, 128}},
        {"normal", 0, {}, {{}, {0, 0, 0}, 1}, {128, 128, 128}},
    };
    for (const auto& [name, exposure, range, point, expected] : cases) {
        Colouring colouring({{"color"}, {"light"}, {3}, 3}, name);
        colouring.SetRange(range);
        colouring.SetExposure(exposure);
        Rgb colour;
        ASSERT_TRUE(colouring.ColourOf(point, std::vector{0.5f, -1.0f, 4.0f}, Srgb(), &colour));
        EXPECT_EQ(colour, expected) << name << exposure;
    }
    for (const char* name : {"light", "area", "wind"})
        for (const float bad : {NAN, INFINITY}) {
            Rgb colour;
            EXPECT_FALSE(Colouring(Variables(), name)
                             .ColourOf({}, std::vector<float>(30, bad), Srgb(), &colour));
        }
}

TEST(PtcColouring, TheMapGrowsLighterAllTheWayAndBytesOfAScreenSurvive) {
    const Srgb srgb;
    double before = -1;
    for (int i = 0; i < 64; ++i) {
        const LinearRgb light = srgb.Decode(MapColour(i / 63.0));
        const double luminance = 0.2126 * light.r + 0.7152 * light.g + 0.0722 * light.b;
        EXPECT_GT(luminance, before) << i;
        before = luminance;
    }
    for (int i = 0; i < 256; ++i) {
        const auto byte = static_cast<std::uint8_t>(i);
        EXPECT_EQ(srgb.Encode(srgb.Decode(byte)), byte);
    }
    EXPECT_EQ(MapColour(-5), MapColour(0));
    EXPECT_EQ(MapColour(1e300), MapColour(1));
    EXPECT_NEAR(srgb.Decode(188), 0.5, 0.004);
}

TEST(PtcColouring, EncodingFindsTheByteThatASearchAmongAllFinds) {
    const Srgb srgb;
    std::vector<float> steps;
    for (int i = 0; i < 255; ++i) {
        const double screen = (i + 0.5) / 255;
        steps.push_back(static_cast<float>(
            screen <= 0.04045 ? screen / 12.92 : std::pow((screen + 0.055) / 1.055, 2.4)));
    }
    const auto expect_byte = [&](float light) {
        EXPECT_EQ(srgb.Encode(light),
                  std::upper_bound(steps.begin(), steps.end(), light) - steps.begin())
            << light;
    };
    // Between two of these lights the byte does not change: steps, ends of cells, what is beyond.
    for (const float step : steps)
        for (const float to : {0.0f, step, 2.0f}) expect_byte(std::nextafter(step, to));
    for (std::uint32_t bits = 0; bits < 0x40000000; bits += 1 << 15) {
        expect_byte(std::bit_cast<float>(bits));
        expect_byte(-std::bit_cast<float>(bits));
        expect_byte(std::bit_cast<float>(bits + (1 << 15) - 1));
    }
    expect_byte(std::numeric_limits<float>::infinity());
}

TEST(PtcColouring, ARangePassesOverStraysAndEndsAtRoundNumbersButIsNeverEmpty) {
    ValueSample strays, mostly_equal, million;
    for (int i = 0; i < 1000; ++i) strays.Add(0.013 + i * 0.00093);
    for (const double stray : {-1e30, 1e30, 5000.0}) strays.Add(stray);
    EXPECT_DOUBLE_EQ(strays.RobustRange().low, 0);
    EXPECT_DOUBLE_EQ(strays.RobustRange().high, 0.95);
    for (int i = 0; i < 1000; ++i) mostly_equal.Add(i == 500 ? 8 : 4);
    EXPECT_EQ(mostly_equal.RobustRange().high, 8);
    for (int i = 0; i < 1'000'000; ++i) million.Add(i);
    EXPECT_NEAR(million.RobustRange().low, 10e3, 10e3);
    EXPECT_NEAR(million.RobustRange().high, 990e3, 10.5e3);
    for (const double value : {0.0, 3.0, -1e-40, 3e38, -3e38}) {
        ValueSample sample;
        for (int i = 0; i < 3; ++i) sample.Add(value);
        const ValueRange range = sample.RobustRange();
        EXPECT_TRUE(range.low < value && value < range.high) << value;
    }
}

}  // namespace

}  // namespace view
