// The bytes of a small cloud with everything in it: three points, two variables, two nodes.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ptc/cloud/writer.h"
#include "tests/support/full_disk.h"

/// Variables "float _area" and "color[2] " of points, "color glow" of nodes; a leaf and the root.
inline std::string SmallCloud(TokenForm form, bool has_nodes = true) {
    const char* const types[] = {"float", "color[2]"};
    const char* const names[] = {"_area", ""};
    const char* const node_types[] = {"color"};
    const char* const node_names[] = {"glow"};
    const float eye[] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 5, 1};
    const float ndc[] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0};
    CloudDescription description;
    description.point_variables = {2, types, names};
    description.node_variables = {1, node_types, node_names};
    description.world_to_eye = eye;
    description.world_to_ndc = ndc;
    description.format[0] = 640;
    description.format[1] = 480;
    description.format[2] = 1;
    const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud =
        CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes), form, &why);
    EXPECT_TRUE(cloud) << why;
    for (int i = 0; i < 3; ++i) {
        const auto f = static_cast<float>(i);
        std::array<float, 7> data;
        for (std::size_t k = 0; k < 7; ++k) data[k] = 10 * f + static_cast<float>(k);
        const PointHead head = {
            {0.5f + f, 1, 2}, {0, i == 1 ? 1.0f : 0.0f, 0}, i == 2 ? 2.0f : 1.0f};
        EXPECT_EQ(WritePoint(*cloud, head, data.data()), CloudStatus::kOk);
    }
    if (has_nodes) {
        const float glow[] = {0.25f, 0.5f, 0.75f};
        std::int64_t leaf = 0;
        std::int64_t root = 0;
        EXPECT_EQ(WriteNode(*cloud, {1, 2, {1, 2, 3, 4, 5, 6}, glow}, nullptr, &leaf),
                  CloudStatus::kOk);
        const std::int64_t children[8] = {leaf, 0, 0, 0, 0, 0, 0, leaf};
        EXPECT_EQ(WriteNode(*cloud, {0, 3, {1, 2, 3, 4, 5, 6}, glow}, children, &root),
                  CloudStatus::kOk);
    }
    EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
}
