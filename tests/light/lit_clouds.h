// Clouds that are lit and organised with light, for tests of what is gathered out of them.

#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/organise.h"
#include "ptc/writer.h"
#include "tests/support/scratch.h"

inline constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct LitPoint {
    std::array<float, 3> position, normal;
    float radius, area;
    std::array<float, 3> colour;
};

class LitClouds : public testing::Test {
protected:
    ~LitClouds() override {
        files_.clear();
        PtcShutdown();
    }

    /// Organised with light; opened.
    PtcManagedFile* Cloud(const std::vector<LitPoint>& points, const char* area = "_area",
                          const char* colour = "_irradiance", bool has_light = true) {
        const std::string name = folder_.File(std::to_string(files_.size()));
        const char* const types[] = {"float", "color"};
        const char* const names[] = {"_area", "_irradiance"};
        PtcCloudDescription description;
        description.name = name.c_str();
        description.point_variables = {2, types, names};
        PtcCloudWriter* const cloud = PtcCreateCloud(description);
        for (const LitPoint& p : points) {
            const float data[] = {p.area, p.colour[0], p.colour[1], p.colour[2]};
            EXPECT_TRUE(PtcWritePoint(cloud, p.position.data(), p.normal.data(), p.radius, data));
        }
        EXPECT_TRUE(PtcFinishCloud(cloud)) << PtcLastFailure().text;
        const char* const inputs[] = {name.c_str()};
        PtcOrganiseRequest request;
        request.inputs = inputs;
        request.input_count = 1;
        request.output = name.c_str();
        request.light = has_light;
        request.light_color = colour;
        request.light_area = area;
        EXPECT_TRUE(PtcOrganise(request, nullptr)) << PtcLastFailure().text;
        files_.emplace_back(name.c_str());
        return files_.back().Get();
    }

    const ScratchFolder folder_;
    std::vector<PtcFile> files_;
};

/// Points in a ball, of all directions and sizes.
inline std::vector<LitPoint> Ball(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    const auto next = [&] { return static_cast<float>(random() % 65536) / 32768 - 1; };
    std::vector<LitPoint> points(count);
    for (LitPoint& p : points) {
        for (float& value : p.position) value = 20 * next();
        for (float& value : p.normal) value = next();
        const double length = std::hypot(p.normal[0], p.normal[1], p.normal[2]);
        for (float& value : p.normal) value = static_cast<float>(value / length);
        p.radius = 0.2f + 0.1f * next();
        p.area = 3 * p.radius * p.radius;
        for (float& value : p.colour) value = 1 + next();
    }
    return points;
}
