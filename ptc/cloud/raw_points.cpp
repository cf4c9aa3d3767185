// Raw points and nodes: reading records in either form, copying nodes.

#include "ptc/cloud/raw_points.h"

#include <array>
#include <vector>

#include "ptc/format/layout.h"
#include "ptc/format/record_code.h"

namespace {

constexpr std::size_t kNodePiece = 65536;  // bytes that are copied at a time

std::size_t DataFloats(const CloudHeader& header) {
    return static_cast<std::size_t>(header.point_variables.data_size);
}

std::int64_t PointsEnd(const CloudHeader& header) {
    const auto record = static_cast<std::int64_t>(ptc_layout::PointBytes(DataFloats(header)));
    return header.data_start + header.point_count * record;
}

/// One point of the text form. `floats` is scratch of the data's size.
TokenStatus ReadTextPoint(TokenInput& input, std::vector<float>* floats, std::byte* record) {
    std::array<double, 6> head;
    if (Failed(input.ReadRecord("", "%e %e %e  %hi %hi  %e", head))) return TokenStatus::kFailed;
    if (!floats->empty() && Failed(input.ReadFloats("ptd", *floats))) return TokenStatus::kFailed;

    PointHead point{};
    for (std::size_t axis = 0; axis < 3; ++axis)
        point.position[axis] = static_cast<float>(head[axis]);
    point.radius = static_cast<float>(head[5]);
    const auto code = [](double value) {
        return static_cast<std::uint16_t>(static_cast<std::int16_t>(value));
    };
    const auto data = std::as_bytes(std::span(*floats));
    EncodePoint(point, {code(head[3]), code(head[4])}, {data.data(), data.size(), data.size()},
                record);
    return TokenStatus::kOk;
}

}  // namespace

CloudStatus ReadPointRecords(CloudReader& cloud, std::span<std::byte> records, std::size_t* bytes) {
    const std::size_t record = ptc_layout::PointBytes(DataFloats(cloud));
    *bytes = 0;
    if (cloud.input.IsText()) {
        std::vector<float> floats(DataFloats(cloud));
        while (*bytes < records.size() &&
               !Failed(ReadTextPoint(cloud.input, &floats, records.data() + *bytes)))
            *bytes += record;
    } else {
        *bytes = cloud.input.ReadUpTo(records);
        *bytes -= *bytes % record;
    }
    const bool is_whole = *bytes == records.size();
    cloud.next_point =
        is_whole ? cloud.next_point + static_cast<std::int64_t>(*bytes / record) : -1;
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
