// The point cloud reader's points.

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

#include "ptc/cloud/reader.h"
#include "ptc/format/layout.h"
#include "ptc/format/point_decode.h"
#include "ptc/format/token_records.h"

namespace {

/// Raw records are decoded from pieces of about this many bytes.
constexpr std::size_t kPieceBytes = std::size_t{1} << 17;

void TellWrongPoint(const CloudReader& cloud, bool has_head) {
    if (cloud.is_quiet) return;
    std::puts(has_head ? "WARNING: Wrong data size in point cloud file!"
                       : "WARNING: Wrong point data in point cloud file!");
}

/// Reads text points one by one; a caller without room for the data has them skipped.
std::size_t ReadTextPoints(CloudReader& cloud, std::span<PointHead> heads, std::span<float> data) {
    const std::size_t floats = cloud.point_variables.DataFloats();
    std::vector<float> skipped(data.empty() ? floats : 0);
    for (std::size_t i = 0; i < heads.size(); ++i) {
        const auto mine = data.empty() ? std::span(skipped) : data.subspan(i * floats, floats);
        bool has_head = false;
        if (!Failed(ReadTextPoint(cloud.input, &heads[i], mine, &has_head))) continue;
        TellWrongPoint(cloud, has_head);
        return i;
    }
    return heads.size();
}

std::size_t ReadBinaryPoints(CloudReader& cloud, std::span<PointHead> heads,
                             std::span<float> data) {
    const std::size_t floats = cloud.point_variables.DataFloats();
    const std::size_t record = cloud.PointBytes();
    for (std::size_t done = 0; done < heads.size();) {
        const std::size_t wanted =
            std::min(heads.size() - done, std::max<std::size_t>(1, kPieceBytes / record));
        cloud.scratch.resize(std::max(cloud.scratch.size(), wanted * record));
        const std::size_t bytes =
            cloud.input.ReadUpTo(std::span(cloud.scratch).first(wanted * record));
        const std::size_t whole = bytes / record;
        DecodePoints({cloud.scratch.data(), whole, floats}, &heads[done],
                     data.empty() ? nullptr : data.subspan(done * floats).data());
        done += whole;
        if (whole == wanted) continue;
        TellWrongPoint(cloud, bytes % record >= ptc_layout::kPointHeadBytes);
        return done;
    }
    return heads.size();
}

/// Reads over `count` points of a text file.
CloudStatus SkipTextPoints(CloudReader& cloud, std::int64_t count) {
    PointHead head;
    std::size_t read = 0;
    for (; count > 0; --count)
        if (Failed(ReadPoints(cloud, std::span(&head, 1), {}, &read))) return CloudStatus::kFailed;
    return CloudStatus::kOk;
}

}  // namespace

CloudStatus SeekPoint(CloudReader& cloud, std::int64_t index) {
    if (!cloud.input.IsOpen() || index < 0 || index > cloud.point_count)
        return CloudStatus::kFailed;
    if (index == cloud.next_point) return CloudStatus::kOk;

    const bool is_text = cloud.input.IsText();
    const bool reads_on = is_text && cloud.next_point >= 0 && cloud.next_point < index;
    const std::int64_t from = is_text ? 0 : index;
    if (!reads_on) {
        const auto record = static_cast<std::int64_t>(cloud.PointBytes());
        cloud.next_point = -1;
        if (from > (std::numeric_limits<std::int64_t>::max() - cloud.data_start) / record)
            return CloudStatus::kFailed;
        if (Failed(cloud.input.Seek(cloud.data_start + from * record))) return CloudStatus::kFailed;
        cloud.next_point = from;
    }
    return SkipTextPoints(cloud, index - cloud.next_point);
}

CloudStatus ReadPoints(CloudReader& cloud, std::span<PointHead> heads, std::span<float> data,
                       std::size_t* count) {
    *count = 0;
    if (!cloud.input.IsOpen() || cloud.next_point < 0) return CloudStatus::kFailed;
    const auto left = static_cast<std::uint64_t>(cloud.point_count - cloud.next_point);
    const auto there = heads.first(std::min<std::uint64_t>(heads.size(), left));
    // After a record that cannot be read, or when memory runs out on the way, the place of the next
    // point is not known.
    const std::int64_t first = std::exchange(cloud.next_point, -1);
    *count = cloud.input.IsText() ? ReadTextPoints(cloud, there, data)
                                  : ReadBinaryPoints(cloud, there, data);
    if (*count == there.size()) cloud.next_point = first + static_cast<std::int64_t>(*count);
    return *count == heads.size() ? CloudStatus::kOk : CloudStatus::kFailed;
}
