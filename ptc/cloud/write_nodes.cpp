// The point cloud writer's octree nodes.

#include <algorithm>

#include "ptc/cloud/writer.h"
#include "ptc/format/token_records.h"

CloudStatus WriteNode(CloudWriter& cloud, const NodeToWrite& node, const std::int64_t* children,
                      std::int64_t* at) {
    if (!cloud.file.IsOpen() || cloud.has_failed) return CloudStatus::kFailed;
    NodeRecord record;
    record.first_point = node.first_point;
    record.point_count = node.point_count;
    std::copy_n(node.box, 6, record.box);
    for (unsigned i = 0; children && i < 8; ++i) {
        record.children[i] = children[i];
        if (children[i] != 0) record.child_mask |= static_cast<std::uint8_t>(1U << i);
    }
    const auto data = node.data ? std::span(node.data, cloud.node_variables.DataFloats())
                                : std::span<const float>();

    TokenFile& file = cloud.file;
    TokenFile::Group group(file);
    const TokenStatus written = WriteNodeTokens(file, record, data);
    const std::int64_t offset = file.Tell();
    if (Failed(written) || offset < 0 || Failed(group.Put()) || Failed(file.EndBuffering())) {
        cloud.has_failed = true;
        return CloudStatus::kFailed;
    }
    cloud.stored_points = cloud.point_count;
    cloud.root_position = offset;
    ++cloud.node_count;
    *at = offset;
    return CloudStatus::kOk;
}
