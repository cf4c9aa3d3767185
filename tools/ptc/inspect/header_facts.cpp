// What there is to say about a file's header.

#include "tools/ptc/inspect/header_facts.h"

namespace {

CloudSize SizeOf(CloudReader& cloud) {
    CloudSize size;
    const std::int64_t stored = cloud.input.StoredBytes();
    if (stored < 0) return size;
    size.stored_bytes = stored;
    if (cloud.input.IsText() || cloud.input.IsCompressed()) return size;
    const auto record = static_cast<std::int64_t>(cloud.PointBytes());
    if (cloud.stored_node_count > 0 || cloud.root_position != 0) {
        // The root is the last record in the file.
        NodeRecord root;
        std::int64_t end = 0;
        if (!Failed(ReadNode(cloud, cloud.root_position, &root, {}, &end)))
            size.expected_bytes = end;
        return size;
    }
    // The count is below 2^53 and may still be too large for its product with a record's bytes.
    if (cloud.point_count <= (INT64_MAX - cloud.data_start) / record)
        size.expected_bytes = cloud.data_start + cloud.point_count * record;
    size.whole_points = (stored - cloud.data_start) / record;
    return size;
}

}  // namespace

HeaderFacts FactsOf(const std::string& file, CloudReader& cloud) {
    std::optional<std::size_t> point_bytes;
    if (!cloud.input.IsText()) point_bytes = cloud.PointBytes();
    return {file,
            cloud,
            cloud.input.IsText(),
            cloud.input.IsCompressed(),
            point_bytes,
            ListVariables(cloud.point_variables),
            ListVariables(cloud.node_variables),
            {static_cast<float>(cloud.x_resolution), static_cast<float>(cloud.y_resolution),
             cloud.pixel_aspect},
            SizeOf(cloud)};
}
