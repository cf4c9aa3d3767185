// Raw points and nodes: reading records in either form, copying nodes.

#include "ptc/cloud/raw_points.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ptc/format/token_records.h"

namespace {

constexpr std::size_t kNodePiece = 65536;  // bytes that are copied at a time

std::int64_t PointsEnd(const CloudHeader& header) {
    return header.data_start + header.point_count * static_cast<std::int64_t>(header.PointBytes());
}

/// One point of the text form. `floats`: room for the point's data.
TokenStatus ReadTextRecord(TokenInput& input, std::span<float> floats, std::byte* record) {
    CodedPoint point;
    if (Failed(ReadTextPoint(input, &point, floats))) return TokenStatus::kFailed;
    PointHead head{};
    std::copy_n(point.position, 3, head.position);
    head.radius = point.radius;
    EncodePoint(head, point.code,
                {std::as_bytes(floats).data(), floats.size_bytes(), floats.size_bytes()}, record);
    return TokenStatus::kOk;
}

}  // namespace

CloudStatus ReadPointRecords(CloudReader& cloud, std::span<std::byte> records, std::size_t* bytes) {
    const std::size_t record = cloud.PointBytes();
    *bytes = 0;
    const std::int64_t first = std::exchange(cloud.next_point, -1);  // as ReadPoints() does
    if (cloud.input.IsText()) {
        std::vector<float> floats(cloud.point_variables.DataFloats());
        while (*bytes < records.size() &&
               !Failed(ReadTextRecord(cloud.input, floats, records.data() + *bytes)))
            *bytes += record;
    } else {
        *bytes = cloud.input.ReadUpTo(records);
        *bytes -= *bytes % record;
    }
    const bool is_whole = *bytes == records.size();
    if (is_whole) cloud.next_point = first + static_cast<std::int64_t>(*bytes / record);
    return is_whole ? CloudStatus::kOk : CloudStatus::kFailed;
}

bool NodesFit(const CloudReader& from, const CloudWriter& to) {
    return from.node_count > 0 && from.root_position >= PointsEnd(from) && !from.input.IsText() &&
           !from.input.IsCompressed() && !to.file.IsText() && to.data_start == from.data_start &&
           to.node_variables.data_size == from.node_variables.data_size;
}

CloudStatus CopyNodes(CloudReader& from, CloudWriter& to) {
    from.next_point = -1;
    if (Failed(from.input.Seek(PointsEnd(from)))) return CloudStatus::kFailed;
    for (std::size_t got = kNodePiece; got == kNodePiece;) {
        to.file.BeginBuffering(kNodePiece);
        std::byte* const room = to.file.Reserve(kNodePiece);
        if (!room) return CloudStatus::kFailed;
        got = from.input.ReadUpTo({room, kNodePiece});
        to.file.Commit(got);
        if (Failed(to.file.EndBuffering())) {
            to.has_failed = true;
            return CloudStatus::kFailed;
        }
    }
    if (from.input.Error() != 0) return CloudStatus::kFailed;
    to.stored_points = to.point_count;
    to.node_count = from.node_count;
    to.root_position = from.root_position;
    return CloudStatus::kOk;
}
