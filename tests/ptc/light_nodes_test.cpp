// The data for light of organised files, against plain sums over the points of each node.

#include "ptc/format/light_nodes.h"

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <numbers>

#include "ptc/format/normal_decode.h"
#include "ptc/format/variables.h"
#include "tests/ptc/organise_fixture.h"

namespace {

using namespace organise_fixture;
using light_nodes::LightData;

/// All kinds of values that count 0, and normals of all directions and none.
std::vector<Point> OddLight(Kind kind) {
    std::vector<Point> points = Points(kind, 3000, 5);
    std::mt19937 random(6);
    const std::int16_t poles[][2] = {{-1, -1}, {0, 0}, {0, -1}, {-2, -2}};
    for (Point& point : points) {
        for (std::int16_t& code : point.code) code = static_cast<std::int16_t>(random());
        if (random() % 4 == 0) std::copy_n(poles[random() % 4], 2, point.code);
        if (random() % 5 == 0) point.area = -point.area;
        if (random() % 50 == 0) point.glow[random() % 3] = NAN;
    }
    if (kind == Kind::kRepeats) std::copy_n(points.begin(), 1500, points.begin() + 1500);
    return points;
}

/// A sum, and how large what was added is, which bounds its error.
struct PlainSum {
    double value = 0, size = 0;
    void Add(double term) {
        value += term;
        size += std::fabs(term);
    }
    void Expect(float stored, const char* what) const {
        EXPECT_TRUE(std::isfinite(stored)) << what;
        const double wanted = std::clamp<double>(value, -FLT_MAX, FLT_MAX);
        EXPECT_NEAR(stored, wanted, 1e-6 * std::min<double>(size, FLT_MAX) + 1e-44) << what;
    }
};

double CountedArea(const Point& point, double radius, const LightData& light) {
    if (light.area_channel.empty()) return std::numbers::pi * radius * radius;
    return std::isfinite(point.area) && point.area > 0 ? point.area : 0;
}

/// A low bound of the box: below all, by less than one step; and for a high one with signs turned.
void ExpectBelow(float stored, double least) {
    EXPECT_TRUE(std::isfinite(stored));
    if (std::fabs(least) > FLT_MAX) return;
    EXPECT_LE(stored, least);
    EXPECT_GT(std::nextafter(stored, INFINITY), least);
}

void CheckLight(const Organised& cloud, std::size_t index, const LightData& light) {
    const float* const data = cloud.data[index].data();
    PlainSum areas, centre[3], normal[3], matrix[6], power[27];
    std::array<double, 6> box;
    box.fill(INFINITY);
    double plain[3] = {};
    const NodeRecord& node = cloud.nodes[index];
    for (std::int32_t i = node.first_point; i < node.first_point + node.point_count; ++i) {
        const Point point = PointOf(cloud.records[static_cast<std::size_t>(i)]);
        NormalCode code;
        std::memcpy(&code, point.code, sizeof code);
        float n[3];
        Normals().Decode(code, n);
        const double radius = std::isfinite(point.radius) ? point.radius : 0;
        const double area = CountedArea(point, radius, light);
        const bool has_none = n[0] == 0 && n[1] == 0 && n[2] == 0;
        areas.Add(area);
        for (std::size_t k = 0; k < 3; ++k) {
            const double p = point.position[k];
            const double square = static_cast<double>(n[k]) * n[k];
            const double reach = radius * std::sqrt(square < 1 ? 1 - square : 0);
            box[k] = std::min(box[k], p - reach);
            box[k + 3] = std::min(box[k + 3], -(p + reach));
            centre[k].Add(area * p);
            plain[k] += p;
            normal[k].Add(area * n[k]);
        }
        const std::size_t pairs[6][2] = {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}};
        for (std::size_t k = 0; k < 6; ++k) {
            const double share = has_none ? (k < 3 ? 1.0 / 3 : 0)
                                          : static_cast<double>(n[pairs[k][0]]) * n[pairs[k][1]];
            matrix[k].Add(area * share);
            for (std::size_t c = 0; c < 3; ++c)
                if (std::isfinite(point.glow[c]))
                    power[9 * c + k].Add(area * point.glow[c] * share);
        }
        for (std::size_t k = 0; k < 9; ++k)
            if (std::isfinite(point.glow[k / 3]))
                power[9 * (k / 3) + 6 + k % 3].Add(area * point.glow[k / 3] * n[k % 3]);
    }
    double trace = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        ExpectBelow(data[light.box + k], box[k]);
        ExpectBelow(-data[light.box + k + 3], box[k + 3]);
        PlainSum wanted = centre[k];
        wanted.value =
            areas.value > 0 ? centre[k].value / areas.value : plain[k] / node.point_count;
        wanted.size = areas.value > 0 ? centre[k].size / areas.value : 1e9;
        wanted.Expect(data[light.centre + k], "centre");
        normal[k].Expect(data[light.normal + k], "normal");
        trace += data[light.area + k];
    }
    for (std::size_t k = 0; k < 6; ++k) matrix[k].Expect(data[light.area + k], "area");
    // Elements beyond the range of floats are at its end.
    if (areas.value < FLT_MAX) {
        EXPECT_NEAR(trace, areas.value, 1e-6 * areas.value) << "trace";
    }
    for (std::size_t k = 0; k < 27 && light.has_power; ++k)
        power[k].Expect(data[light.power + k], "power");
}

struct LightCase {
    const char* name;
    Kind kind;
    int leaf_points;
    const char* color;
    const char* area;
    const char* area_found;
    bool has_power;
};

class PtcLightNodes : public testing::TestWithParam<LightCase> {};

TEST_P(PtcLightNodes, HoldWhatTheirPointsAddUpTo) {
    const ScratchFolder folder;
    const auto points = OddLight(GetParam().kind);
    Request request{.inputs = {WriteTo(folder.File("in.ptc"), CloudOf(points))},
                    .output = folder.File("plain.ptc"),
                    .leaf_points = GetParam().leaf_points,
                    .drop_repeats = GetParam().kind == Kind::kRepeats};
    ASSERT_EQ(Organise(request), "");
    request.output = folder.File("light.ptc");
    request.light = true;
    request.light_color = GetParam().color;
    request.light_area = GetParam().area;
    ASSERT_EQ(Organise(request), "");
    const Organised plain = ReadOrganised(folder.File("plain.ptc"));
    const Organised cloud = ReadOrganised(request.output);

    EXPECT_FALSE(FindLightData(plain.header.node_variables));
    const auto light = FindLightData(cloud.header.node_variables);
    ASSERT_TRUE(light);
    EXPECT_EQ(light->box, 4U) << "behind the variables of the points";
    EXPECT_EQ(light->has_power, GetParam().has_power);
    EXPECT_EQ(light->power_channel, light->has_power ? "glow" : "");
    EXPECT_EQ(light->area_channel, GetParam().area_found);

    EXPECT_TRUE(cloud.records == plain.records);
    EXPECT_EQ(cloud.records.size() < points.size(), request.drop_repeats);
    ASSERT_EQ(cloud.nodes.size(), plain.nodes.size());
    EXPECT_GT(cloud.nodes.size(), 4U);
    for (std::size_t i = 0; i < cloud.nodes.size(); ++i) {
        SCOPED_TRACE("node " + std::to_string(i));
        EXPECT_TRUE(std::equal(plain.data[i].begin(), plain.data[i].end(), cloud.data[i].begin()));
        CheckLight(cloud, i, *light);
        if (HasFailure()) break;
    }

    request.inputs = {request.output};
    request.light = false;
    ASSERT_EQ(Organise(request), "");
    EXPECT_TRUE(ContentOf(request.output) == ContentOf(folder.File("plain.ptc")))
        << "organised again without light";
}

INSTANTIATE_TEST_SUITE_P(
    Clouds, PtcLightNodes,
    testing::Values(LightCase{"Surface", Kind::kSurface, 16, nullptr, nullptr, "_area", true},
                    LightCase{"AreasOfRadii", Kind::kSurface, 4, "glow", "", "", true},
                    LightCase{"NoColor", Kind::kFewPlaces, 4, "", "_area", "_area", false},
                    LightCase{"OddValues", Kind::kOdd, 4, nullptr, nullptr, "_area", true},
                    LightCase{"OddRadii", Kind::kOdd, 1, nullptr, "", "", true},
                    LightCase{"Repeats", Kind::kRepeats, 4, nullptr, nullptr, "_area", true}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(PtcLightNodes, ChannelsThatDoNotFitAreRefused) {
    const ScratchFolder folder;
    const std::string input = WriteTo(folder.File("in.ptc"), CloudOf(OddLight(Kind::kSurface)));
    const auto refused = [&](const char* color, const char* area) {
        const std::string why = Organise({.inputs = {input},
                                          .output = folder.File("out.ptc"),
                                          .light = true,
                                          .light_color = color,
                                          .light_area = area});
        EXPECT_FALSE(std::filesystem::exists(folder.File("out.ptc")));
        return why.substr(std::min(why.size(), input.size()));
    };
    const std::string what = ": cannot be organised for light: ";
    EXPECT_EQ(refused("glo", nullptr), what + "it has no variable \"glo\"");
    EXPECT_EQ(refused(nullptr, "_are"), what + "it has no variable \"_are\"");
    EXPECT_EQ(refused("_area", nullptr),
              what + "variable \"_area\" has 1 float, where a color has 3");
    EXPECT_EQ(refused(nullptr, "glow"),
              what + "variable \"glow\" has 3 floats, where an area has 1");
}

CloudVariables DeclaredAs(std::initializer_list<std::pair<const char*, const char*>> list) {
    CloudVariables variables;
    for (const auto& [type, name] : list) {
        variables.types.emplace_back(type);
        variables.names.emplace_back(name);
        variables.sizes.push_back(ComponentCount(type));
        variables.data_size += variables.sizes.back();
    }
    return variables;
}

TEST(PtcLightNodes, AreFoundOnlyWhenAllAreThereInOrder) {
    // Points whose variables look like a beginning of the data, and then the data.
    auto light = FindLightData(DeclaredAs({{"float[6]", "lightbox"},
                                           {"point", "lightcentre"},
                                           {"float[6]", "lightbox"},
                                           {"point", "lightcentre"},
                                           {"vector", "lightnormal"},
                                           {"float[6]", "lightarea:a:b"},
                                           {"float[27]", "lightpower"}}));
    ASSERT_TRUE(light);
    EXPECT_EQ(light->box, 9U);
    EXPECT_EQ(light->power, 27U);
    EXPECT_EQ(light->area_channel, "a:b");
    EXPECT_TRUE(light->has_power);
    EXPECT_EQ(light->power_channel, "");
    const std::pair<const char*, const char*> sound[] = {{"float[6]", "lightbox"},
                                                         {"point", "lightcentre"},
                                                         {"vector", "lightnormal"},
                                                         {"float[6]", "lightarea"}};
    const std::pair<const char*, const char*> unsound[] = {{"float[6]", "lightbox:a"},
                                                           {"vector", "lightcentre"},
                                                           {"vector", "lightnorma"},
                                                           {"float[6]", "lightareas"}};
    for (std::size_t bad = 0; bad <= 4; ++bad) {
        const auto at = [&](std::size_t i) { return i == bad ? unsound[i] : sound[i]; };
        light = FindLightData(DeclaredAs({at(0), at(1), at(2), at(3)}));
        EXPECT_EQ(light.has_value(), bad == 4) << bad;
    }
    EXPECT_FALSE(light->has_power);
}

}  // namespace
