// The point cloud reader's octree nodes.

#include <vector>

#include "ptc/cloud/reader.h"
#include "ptc/format/layout.h"
#include "ptc/format/token_records.h"

CloudStatus ReadNode(CloudReader& cloud, std::int64_t offset, NodeRecord* node,
                     std::span<float> data, std::int64_t* end) {
    TokenInput& input = cloud.input;
    if (!input.IsOpen() || offset < cloud.data_start) return CloudStatus::kFailed;
    cloud.next_point = -1;
    const auto floats = cloud.node_variables.DataFloats();
    std::vector<float> skipped(data.empty() ? floats : 0);
    const std::span<float> values = data.empty() ? std::span(skipped) : data.first(floats);
    if (Failed(input.Seek(offset))) return CloudStatus::kFailed;

    if (input.IsText()) {
        if (Failed(ReadTextNode(input, node, values))) return CloudStatus::kFailed;
        if (end) *end = input.Tell();
        return CloudStatus::kOk;
    }
    // The largest record that it could be; at the end of the file there are fewer bytes.
    std::vector<std::byte> bytes(ptc_layout::MaxNodeBytes(floats));
    const std::size_t there = input.ReadUpTo(bytes);
    ByteCursor cursor({bytes.data(), there});
    if (!DecodeNode(cursor, node, values)) return CloudStatus::kFailed;
    if (end) *end = offset + static_cast<std::int64_t>(there - cursor.Left());
    return CloudStatus::kOk;
}
