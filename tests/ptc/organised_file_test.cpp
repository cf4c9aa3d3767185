// Organised files as they are written: what a walk through their nodes relies on.

#include "tests/support/organised_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/ptc/known_cloud.h"
#include "tests/support/scratch.h"

namespace {

class OrganisedFile : public testing::TestWithParam<TokenForm> {
protected:
    const ScratchFolder folder_;
    const std::string name_ = folder_.File("a.ptc");
};

TEST_P(OrganisedFile, SiblingsStandTogetherAndShareOutTheirParentsPoints) {
    Save(name_, BytesOf({5000, true, GetParam()}));
    const DirectRead read(name_);
    const float slack = GetParam() == TokenForm::kText ? 2e-5f : 0;  // texts round
    ASSERT_GT(read.nodes.size(), 200u);
    EXPECT_EQ(read.nodes.at(read.root).record.point_count, 5000);
    EXPECT_EQ(read.nodes.rbegin()->first, read.root) << "the root is last";
    int leaves = 0;
    for (const auto& [at, node] : read.nodes) {
        std::int64_t next_reference = 0;
        std::int32_t next_point = node.record.first_point;
        for (const std::int64_t reference : node.record.children) {
            if (reference == 0) continue;
            const DirectRead::Node& child = read.nodes.at(reference);
            EXPECT_LT(reference, at) << "children come first";
            if (next_reference != 0) {
                EXPECT_EQ(reference, next_reference) << "siblings stand together";
            }
            EXPECT_EQ(child.record.first_point, next_point);
            next_reference = child.end;
            next_point += child.record.point_count;
            for (int axis = 0; axis < 3; ++axis) {
                EXPECT_GE(child.record.box[axis], node.record.box[axis]);
                EXPECT_LE(child.record.box[axis + 3], node.record.box[axis + 3]);
            }
        }
        if (node.record.child_mask) {
            EXPECT_EQ(next_point, node.record.first_point + node.record.point_count);
            continue;
        }
        ++leaves;
        EXPECT_LE(node.record.point_count, 32);
        std::array<double, 3> glow{};
        for (std::int32_t i = 0; i < node.record.point_count; ++i) {
            const auto point = static_cast<std::size_t>(node.record.first_point + i);
            const PointHead& head = read.heads[point];
            for (std::size_t axis = 0; axis < 3; ++axis) {
                EXPECT_LE(node.record.box[axis], head.position[axis] - head.radius + slack);
                EXPECT_GE(node.record.box[axis + 3], head.position[axis] + head.radius - slack);
                glow[axis] += double{read.data[4 * point + axis]} / node.record.point_count;
            }
        }
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(glow[i], node.data[i], 1e-5);
    }
    EXPECT_GT(leaves, 100);
}

INSTANTIATE_TEST_SUITE_P(Forms, OrganisedFile,
                         testing::Values(TokenForm::kBinary, TokenForm::kText),
                         [](const auto& tested) {
                             return tested.param == TokenForm::kText ? "Text" : "Binary";
                         });

// Points at one place, without a place, refused, or none at all: the tree ends all the same.
TEST(OrganisedFileOfOddPoints, PointsThatCannotBeDividedMakeALeaf) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<std::vector<PointHead>> clouds = {
        {},
        std::vector<PointHead>(500, {{1, 2, 3}, {}, 0.5f}),
        std::vector<PointHead>(500, {{nan, INFINITY, -INFINITY}, {}, 0.5f}),
        std::vector<PointHead>(500, {{1, 2, 3}, {}, -1}),
    };
    for (const auto& heads : clouds) {
        const auto bytes = std::make_shared<DiskBytes::element_type>();
        std::string why;
        const auto cloud =
            CreateCloud({}, std::make_unique<FullDisk>(SIZE_MAX, bytes), TokenForm::kBinary, &why);
        EXPECT_EQ(WriteOrganised(*cloud, {heads, {}}), CloudStatus::kOk);
        const bool has_points = !heads.empty() && heads[0].radius >= 0;
        EXPECT_EQ(cloud->point_count, has_points ? 500 : 0);
        EXPECT_LE(cloud->node_count, 25);
        EXPECT_EQ(cloud->node_count > 0, has_points);
    }
}

}  // namespace
