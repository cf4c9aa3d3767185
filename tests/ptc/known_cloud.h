// Clouds whose content is known, and what a reader that knows no caches finds in a file.

#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ptc/cloud/node_walk.h"
#include "ptc/format/records.h"
#include "tests/support/full_disk.h"
#include "tests/support/organised_file.h"

struct KnownCloud {
    std::size_t points;
    bool is_organised = true;
    TokenForm form = TokenForm::kBinary;
};

/// The bytes of a cloud of clumps: point variables "color glow" and "float number", node variable
/// "color glow". The number tells one point from all others.
inline std::string BytesOf(const KnownCloud& wanted) {
    const char* const types[] = {"color", "float"};
    const char* const names[] = {"glow", "number"};
    CloudDescription description;
    description.point_variables = {2, types, names};
    if (wanted.is_organised) description.node_variables = {1, types, names};
    const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud =
        CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes), wanted.form, &why);
    EXPECT_TRUE(cloud) << why;

    std::mt19937 random(7);
    const auto unit = [&] { return static_cast<float>(random() % 4096) / 4096; };
    std::vector<PointHead> heads;
    std::vector<float> data;
    std::array<float, 3> clump{};
    for (std::size_t i = 0; i < wanted.points; ++i) {
        if (i % 300 == 0) clump = {8 * unit(), 8 * unit(), 8 * unit()};
        heads.push_back({{clump[0] + unit() * unit(), clump[1] + unit(), clump[2] + unit() / 4},
                         {0, unit(), 1},
                         unit() / 64});
        data.insert(data.end(), {unit(), unit(), unit(), static_cast<float>(i)});
    }
    if (wanted.is_organised) {
        EXPECT_EQ(WriteOrganised(*cloud, {heads, data}), CloudStatus::kOk);
    } else {
        for (std::size_t i = 0; i < heads.size(); ++i)
            EXPECT_EQ(WritePoint(*cloud, heads[i], &data[4 * i]), CloudStatus::kOk);
    }
    EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
}

inline void Save(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

inline void SaveCompressed(const std::string& file, const std::string& bytes) {
    const gzFile out = gzopen(file.c_str(), "wb1");
    gzwrite(out, bytes.data(), static_cast<unsigned>(bytes.size()));
    gzclose(out);
}

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
