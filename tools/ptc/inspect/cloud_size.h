// Whether a cloud's file is as long as its header says, without reading the points.
//
// Units      bytes and points.
// Threads    any.

#pragma once

#include <cstdint>
#include <optional>

#include "ptc/cloud/reader.h"

struct CloudSize {
    std::int64_t stored_bytes = -1;  ///< of the file on disk; -1: not known

    /// Bytes that the header and its counts take; nothing when only reading on would tell: in text
    /// form, or compressed, or among nodes that cannot be read.
    std::optional<std::int64_t> expected_bytes;

    /// Whole point records in the file, of which the header may count more or fewer; nothing where
    /// the above is not known, and where nodes stand behind the points.
    std::optional<std::int64_t> whole_points;
};

/// Caller: needs the cloud's place no more; nodes are read to find their end.
inline CloudSize SizeOf(CloudReader& cloud) {
    CloudSize size;
    size.stored_bytes = cloud.input.StoredBytes();
    if (size.stored_bytes < 0 || cloud.input.IsText() || cloud.input.IsCompressed()) return size;
    const auto floats = static_cast<std::size_t>(cloud.point_variables.data_size);
    const auto record = static_cast<std::int64_t>(ptc_layout::PointBytes(floats));
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
    size.whole_points = (size.stored_bytes - cloud.data_start) / record;
    return size;
}
