// Pages from file to file: what a browser finds in them, decoded without the product's code.

#include "tools/ptc/page/page.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "ptc/organise.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"
#include "tools/common/failure.h"

namespace page {

namespace {

using nlohmann::json;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kValues[] = {1e30f, -2e29f, NAN, kInfinity, 0};
constexpr const char* kMarkup = "</script><b>&";

std::string FromBase64(const std::string& text) {
    std::string bytes;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        constexpr std::string_view kLetters =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        if (c == '=') break;
        bits = bits << 6 | static_cast<unsigned>(kLetters.find(c));
        if (++count % 4 == 1) continue;
        const int left = 6 - 2 * ((count - 1) % 4);
        bytes += static_cast<char>(bits >> left & 0xFF);
    }
    return bytes;
}

double FromHalf(unsigned half) {
    const int exponent = static_cast<int>(half >> 10 & 31);
    const double fraction = half & 1023;
    double value =
        exponent ? std::ldexp(1024 + fraction, exponent - 25) : std::ldexp(fraction, -24);
    if (exponent == 31) value = fraction != 0 ? std::nan("") : HUGE_VAL;
    return half & 0x8000 ? -value : value;
}

/// One cloud of a page.
struct Shown {
    json about;
    std::string planes;
    std::size_t count = 0;

    unsigned Number(std::size_t plane, std::size_t i) const {
        const std::size_t at = 2 * (plane * count + i);
        return static_cast<unsigned char>(planes.at(at)) |
               static_cast<unsigned>(static_cast<unsigned char>(planes.at(at + 1))) << 8;
    }
    double Position(std::size_t i, std::size_t axis) const {
        const double low = about["low"][axis], high = about["high"][axis];
        return low + (high - low) * Number(0, 3 * i + axis) / 65535;
    }
    double Radius(std::size_t i) const {
        return FromHalf(Number(5, i)) * about["largest_radius"].get<double>();
    }
    /// Float `k` of those shown, of the variable `v`.
    double Value(std::size_t i, std::size_t k, std::size_t v, std::size_t part) const {
        return FromHalf(Number(6 + k, i)) * about["variables"][v]["scale"][part].get<double>();
    }
};

std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t from = text.find(begin);
    if (from == std::string::npos) return "";
    const std::size_t first = from + begin.size();
    return text.substr(first, text.find(end, first) - first);
}

class PtcPage : public testing::Test {
protected:
    /// Variables: a color, a matrix, which no page has room for, and a float.
    std::string WriteCloud(const std::vector<PointHead>& points, TokenForm form,
                           const std::string& name = "cloud.ptc") {
        const char* const types[] = {"color", "matrix", "float"};
        const char* const names[] = {kMarkup, "frame", "value"};
        const MemoryCloud made({nullptr, {3, types, names}, {}, nullptr, nullptr, {}}, form);
        for (std::size_t number = 0; const PointHead& point : points) {
            std::vector<float> data(20, 0.0f);
            const auto share = static_cast<float>(number);
            data[0] = 1 / (1 + share), data[1] = -share, data[2] = 1e-9f;
            data[19] = kValues[std::min<std::size_t>(number, 4)];
            made.Add(point, data.data());
            ++number;
        }
        return WriteTo(folder_.File(name), made.Finished());
    }

    PageOptions Options(const std::string& input) {
        PageOptions options;
        options.view.input = input;
        options.view.output = folder_.File("page.html");
        return options;
    }

    std::string Make(const PageOptions& options) {
        testing::internal::CaptureStdout();
        MakePage(options);
        report_ = testing::internal::GetCapturedStdout();
        return ContentOf(options.view.output);
    }

    static json About(const std::string& page) {
        return json::parse(Between(page, "id=\"page\">", "</script>"));
    }

    static Shown CloudOf(const std::string& page, std::size_t index) {
        Shown shown{About(page)["clouds"].at(index), {}, {}};
        const std::string packed = FromBase64(
            Between(page, "class=\"points-" + std::to_string(index) + "\">", "</script>"));
        uLongf size = shown.about["bytes"].get<uLongf>();
        shown.planes.resize(size + 1);
        const auto* const in = static_cast<const Bytef*>(static_cast<const void*>(packed.data()));
        auto* const out = static_cast<Bytef*>(static_cast<void*>(shown.planes.data()));
        uLongf there = size + 1;
        EXPECT_EQ(uncompress(out, &there, in, packed.size()), Z_OK);
        EXPECT_EQ(there, size) << "of the planes";
        shown.count = shown.about["shown"];
        return shown;
    }

    ScratchFolder folder_;
    std::string report_;
};

TEST_F(PtcPage, HasEveryNumberOfASmallCloud) {
    std::vector<PointHead> points = {{{-1, 2, 3}, {0, 0, 1}, 0.5f},
                                     {{7, 2, -4}, {0, 1, 0}, 0.25f},
                                     {{0, 2, 0}, {0, 0, 0}, 0},
                                     {{3, 2, 1}, {1, 0, 0}, 0.1f},
                                     {{5, 2, 2}, {-1, 0, 0}, 0.3f}};
    points.push_back({{NAN, 0, 0}, {0, 0, 1}, 0.5f});
    points.push_back({{1, 1, -kInfinity}, {0, 0, 1}, 0.5f});
    PageOptions options = Options(WriteCloud(points, TokenForm::kBinary));
    options.view.range = view::ValueRange{0, 2};
    options.view.background = Rgb{1, 0xAB, 0};
    const std::string page = Make(options);
    EXPECT_NE(report_.find("5 of 7 points, without frame\n"), std::string::npos) << report_;
    EXPECT_EQ(page.find(kMarkup), std::string::npos);
    EXPECT_EQ(page.find("<!-- "), std::string::npos) << "a marker is left";

    const json about = About(page);
    EXPECT_EQ(about["variable"], kMarkup);
    EXPECT_EQ(about["range"], (json{0.0, 2.0}));
    EXPECT_EQ(about["background"], "#01ab00");
    EXPECT_FALSE(about.contains("exposure"));
    EXPECT_EQ(about["colour_map"].get<std::string>().size(), 256 * 6u);
    const Shown shown = CloudOf(page, 0);
    EXPECT_EQ(shown.about["name"], "cloud.ptc");
    EXPECT_EQ(shown.about["points"], 7);
    EXPECT_EQ(shown.about["world_to_ndc"], nullptr);
    EXPECT_EQ(shown.about["variables"][0]["name"], kMarkup);
    EXPECT_EQ(shown.about["variables"][0]["kind"], "light");
    EXPECT_EQ(shown.about["variables"][1]["kind"], "value");
    ASSERT_EQ(shown.count, 5u);

    constexpr unsigned kCodes[][2] = {
        {0, 65534}, {49151, 32767}, {0xFFFF, 0xFFFF}, {32767, 32767}, {65534, 32767}};
    std::vector<bool> is_found(5, false);
    for (std::size_t i = 0; i < 5; ++i) {
        std::size_t k = 0;  // which point it is
        while (k < 4 && std::fabs(points[k].position[0] - shown.Position(i, 0)) > 0.01) ++k;
        SCOPED_TRACE(k);
        is_found[k] = true;
        for (std::size_t axis = 0; axis < 3; ++axis)
            EXPECT_NEAR(shown.Position(i, axis), points[k].position[axis], 8.0 / 65535);
        EXPECT_TRUE(k == 0 || shown.Number(3, 2 * i) == kCodes[k][0]) << "around z any will do";
        EXPECT_EQ(shown.Number(3, 2 * i + 1), kCodes[k][1]);
        EXPECT_NEAR(shown.Radius(i), points[k].radius, 0.001 * points[k].radius);
        const double number = static_cast<double>(k);
        EXPECT_NEAR(shown.Value(i, 0, 0, 0), 1 / (1 + number), 0.001);
        EXPECT_NEAR(shown.Value(i, 1, 0, 1), -number, 0.001 * number);
        EXPECT_NEAR(shown.Value(i, 2, 0, 2), 1e-9, 1e-12);
        const double value = shown.Value(i, 3, 1, 0), wanted = kValues[k];
        EXPECT_TRUE(value == wanted || std::fabs(value - wanted) < std::fabs(wanted) / 1000 ||
                    (std::isnan(value) && std::isnan(wanted)))
            << value;
    }
    EXPECT_EQ(is_found, std::vector<bool>(5, true));
}

/// A square of 100 x 100 points, 1 apart, in no order.
std::vector<PointHead> Square() {
    std::vector<PointHead> points(10000, PointHead{{0, 0, 5}, {0, 0, 1}, 0.75f});
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i].position[0] = static_cast<float>(i % 100);
        points[i].position[1] = static_cast<float>(i / 100 % 100);
    }
    std::shuffle(points.begin(), points.end(), std::mt19937(1));
    return points;
}

/// Of `points`: how far the worst is from the next of the first ones shown, and how many are
/// covered by none of them.
std::pair<double, int> GapsOf(const Shown& shown, std::size_t first_ones,
                              const std::vector<PointHead>& points) {
    std::vector<double> nearest(points.size(), 1e9);
    std::vector<bool> is_covered(points.size(), false);
    for (std::size_t i = 0; i < first_ones; ++i) {
        const double x = shown.Position(i, 0), y = shown.Position(i, 1), radius = shown.Radius(i);
        for (std::size_t k = 0; k < points.size(); ++k) {
            const double dx = x - points[k].position[0], dy = y - points[k].position[1];
            const double distance = std::sqrt(dx * dx + dy * dy);
            nearest[k] = std::min(nearest[k], distance);
            if (distance <= radius) is_covered[k] = true;
        }
    }
    return {*std::max_element(nearest.begin(), nearest.end()),
            static_cast<int>(std::count(is_covered.begin(), is_covered.end(), false))};
}

/// Tree, text and compression change which points are met first, not how even the choice is.
TEST_F(PtcPage, ShowsAnEvenChoiceOfEveryForm) {
    const std::vector<PointHead> points = Square();
    const std::string binary = WriteCloud(points, TokenForm::kBinary, "binary");
    const std::string text = WriteCloud(points, TokenForm::kText, "text");
    const std::string gzip = WriteTo(folder_.File("gzip"), gzip_bytes::Whole(ContentOf(text)));
    const std::string organised = folder_.File("organised");
    const char* const inputs[] = {binary.c_str()};
    PtcOrganiseSummary summary;
    ASSERT_TRUE(
        PtcOrganise({.inputs = inputs, .input_count = 1, .output = organised.c_str()}, &summary));
    for (const std::string& input : {binary, text, gzip, organised}) {
        SCOPED_TRACE(input);
        PageOptions options = Options(input);
        options.points = 1500;
        const std::string page = Make(options);
        EXPECT_EQ(Make(options), page);
        const Shown shown = CloudOf(page, 0);
        EXPECT_EQ(shown.about["organised"], input == organised);
        ASSERT_EQ(shown.count, 1500u);
        for (const std::size_t first_ones : {1500u, 700u, 100u}) {
            const auto [gap, open] = GapsOf(shown, first_ones, points);
            EXPECT_LT(gap / std::sqrt(10000.0 / static_cast<double>(first_ones)), 1.75);
            EXPECT_TRUE(first_ones < 1500 || open == 0) << open;
        }
    }
}

TEST_F(PtcPage, ChoosesVariablesAndComparesTwoClouds) {
    const std::string input = WriteCloud({{{0, 0, 0}, {0, 0, 1}, 1}}, TokenForm::kBinary);
    const std::string other = WriteTo(folder_.File("other.ptc"), SmallCloud(TokenForm::kText));
    PageOptions options = Options(input);
    options.compare = other;
    options.variables = {"value", "_area"};
    const std::string page = Make(options);
    EXPECT_EQ(About(page)["variable"], "value");
    ASSERT_EQ(About(page)["clouds"].size(), 2u);
    const Shown first = CloudOf(page, 0), second = CloudOf(page, 1);
    ASSERT_EQ(first.about["variables"].size(), 1u);
    EXPECT_EQ(first.about["variables"][0]["name"], "value");
    EXPECT_EQ(second.about["variables"][0]["name"], "_area");
    EXPECT_EQ(second.count, 3u);
}

TEST_F(PtcPage, WhatCannotBeShownLeavesNoPage) {
    const std::vector<PointHead> one = {{{0, 0, 0}, {0, 0, 1}, 1}};
    const PageOptions good = Options(WriteCloud(one, TokenForm::kBinary));
    std::vector<std::pair<const char*, PageOptions>> cases(6, {"", good});
    cases[0].first = "an empty cloud";
    cases[0].second.view.input = WriteCloud({}, TokenForm::kBinary, "empty");
    cases[1].first = "no point that can be drawn";
    cases[1].second.view.input =
        WriteCloud({{{0, NAN, 0}, {0, 0, 1}, 1}}, TokenForm::kBinary, "nan");
    cases[2].first = "no second cloud";
    cases[2].second.compare = folder_.File("absent");
    cases[3].first = "a second cloud that is cut off";
    const std::string gzip = gzip_bytes::Whole(ContentOf(good.view.input));
    cases[3].second.compare = WriteTo(folder_.File("cut"), gzip.substr(0, gzip.size() - 12));
    cases[4].first = "a name that no cloud has";
    cases[4].second.variables = {"value", "nothing"};
    cases[5].first = "a first variable that is not chosen";
    cases[5].second.variables = {"value"};
    cases[5].second.view.variable = kMarkup;
    for (const auto& [what, options] : cases) {
        EXPECT_THROW(MakePage(options), Failure) << what;
        EXPECT_FALSE(std::filesystem::exists(options.view.output)) << what;
    }
    PageOptions large = good;
    large.view.variable = "frame_3";
    EXPECT_THROW(MakePage(large), view::WrongUsage);
    large = good;
    large.variables = {"frame"};
    EXPECT_THROW(MakePage(large), view::WrongUsage);
}

}  // namespace

}  // namespace page
