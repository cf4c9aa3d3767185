// What a reader that knows no caches finds in a file.

#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ptc/cloud/node_walk.h"
#include "ptc/records.h"

/// All points and nodes of a file, read one after the other.
class DirectRead {
public:
    struct Node {
        NodeRecord record;
        std::vector<float> data;
        std::int64_t end;  ///< of its record
    };

    explicit DirectRead(const std::string& file) {
        std::string why;
        const auto cloud = OpenCloud(file.c_str(), &why);
        EXPECT_TRUE(cloud) << why;
        floats_ = static_cast<std::size_t>(cloud->point_variables.data_size);
        heads.resize(static_cast<std::size_t>(cloud->point_count));
        data.resize(heads.size() * floats_);
        std::size_t count = 0;
        EXPECT_EQ(::ReadPoints(*cloud, heads, data, &count), CloudStatus::kOk);
        if (cloud->node_count == 0) return;
        root = cloud->root_position;
        struct NoFaults final : NodeListener {
            void Hear(const NodeFinding& found) override {
                ADD_FAILURE() << "reference to " << found.offset << " at " << found.place;
            }
        } no_faults;
        NodeWalk walk(*cloud, cloud->data_start, 0, no_faults);
        for (NodeVisit visit; walk.Next(&visit);)
            nodes.emplace(visit.offset,
                          Node{*visit.node, {visit.data.begin(), visit.data.end()}, visit.end});
        EXPECT_EQ(static_cast<std::int64_t>(nodes.size()), cloud->node_count);
    }

    bool IsPoint(const PtcPoint& point, std::int64_t index) const {
        const auto i = static_cast<std::size_t>(index);
        return std::memcmp(&point, &heads[i], sizeof heads[i]) == 0 &&
               std::equal(point.data, point.data + floats_, &data[i * floats_]);
    }
    bool IsNode(const PtcNode& node, std::int64_t reference) const {
        const Node& wanted = nodes.at(reference);
        return node.first_point == wanted.record.first_point &&
               node.point_count == wanted.record.point_count &&
               std::equal(node.box, node.box + 6, wanted.record.box) &&
               std::equal(node.children, node.children + kNodeChildren, wanted.record.children) &&
               std::equal(wanted.data.begin(), wanted.data.end(), node.data);
    }
    /// Whether `records` are the children that `references` name.
    bool AreChildren(const PtcNode* records, const std::int64_t* references) const {
        for (int i = 0; i < kNodeChildren; ++i) {
            const bool is_right = references[i] ? IsNode(records[i], references[i])
                                                : records[i].point_count == 0 && !records[i].box[3];
            if (!is_right) return false;
        }
        return true;
    }

    std::vector<PointHead> heads;
    std::vector<float> data;
    std::map<std::int64_t, Node> nodes;  ///< by their references
    std::int64_t root = 0;

private:
    std::size_t floats_ = 0;
};
