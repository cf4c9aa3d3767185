// The point cloud writer's points: bounds, records, pieces and checkpoints.

#include <algorithm>
#include <span>

#include "ptc/cloud/writer.h"
#include "ptc/format/layout.h"
#include "ptc/format/point_bounds.h"
#include "ptc/format/record_run.h"
#include "ptc/format/token_records.h"

namespace {

constexpr std::int64_t kPiece = 2048;         // points that are collected before they are written
constexpr std::int64_t kCheckpoint = 250000;  // points between two updates of the header

/// Points that fit before the next piece or checkpoint ends.
std::int64_t RoomBeforeFlush(std::int64_t points) {
    return std::min(kPiece - points % kPiece, kCheckpoint - points % kCheckpoint);
}

void BeginCollecting(CloudWriter& cloud) {
    cloud.file.BeginBuffering(2048 * cloud.point_variables.DataFloats() + 40960);
}

/// Hands the collected records to the system, and brings the header up to date when it is due.
TokenStatus FlushPiece(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    if (Failed(file.EndBuffering())) return TokenStatus::kFailed;
    cloud.stored_points = cloud.point_count;
    if (cloud.point_count % kCheckpoint == 0 && Failed(RewriteHeader(cloud)))
        return TokenStatus::kFailed;
    BeginCollecting(cloud);
    return TokenStatus::kOk;
}

/// Puts a point that is not refused to `out`. It is encoded before it is included in the bounds, so
/// that these take no registers from the code of its normal.
[[gnu::always_inline]] inline void EncodeOne(CloudWriter& cloud, const PointHead& head,
                                             const PointData& data, std::byte* out) {
    EncodePoint(head, EncodeNormal(head.normal[0], head.normal[1], head.normal[2]), data, out);
    PointBounds bounds(cloud);
    bounds.Include(head.position, head.radius);
    bounds.StoreTo(&cloud);
}

/// One point after the other. Returns the number of records. Caller: the points are no records.
std::size_t EncodeFew(CloudWriter& cloud, GivenPoints* points, PositionBox* positions,
                      std::byte* out) {
    const std::size_t data_bytes = 4 * cloud.point_variables.DataFloats();
    std::size_t written = 0;
    GivenPoints left = *points;
    left.are_records = false;  // known to the compiler, so that the loop does not ask
    for (; left.count > 0; left.Advance(1)) {
        const PointHead head = left.Head();
        if (positions) positions->Include(head.position);
        if (head.radius < 0) continue;
        EncodeOne(cloud, head, left.Data(data_bytes), out);
        out += ptc_layout::kPointHeadBytes + data_bytes;
        ++written;
    }
    points->count = 0;
    return written;
}

/// In passes over many points, until `room` are written. Returns the number of records.
[[gnu::noinline]] std::size_t EncodeMany(CloudWriter& cloud, std::size_t room, GivenPoints* points,
                                         PositionBox* positions, std::byte* out) {
    const std::size_t record = cloud.PointBytes();
    RunBounds bounds{PointBounds(cloud), positions ? *positions : PositionBox()};
    std::size_t written = 0;
    while (written < room && points->count > 0) {
        GivenPoints first = *points;
        first.count = std::min(room - written, points->count);
        std::byte* const begin = out + written * record;
        const std::byte* const end = EncodeRecords(first, 4 * cloud.point_variables.DataFloats(),
                                                   *cloud.lanes, &bounds, begin);
        written += static_cast<std::size_t>(end - begin) / record;
        points->Advance(first.count);
    }
    bounds.spheres.StoreTo(&cloud);
    if (positions) *positions = bounds.positions;
    return written;
}

/// Writes the first points of a run and takes them off it, until `room` are written or none is
/// left; refused ones are left out. `begin`: room for as many records behind what is collected.
void WriteRunInPlace(CloudWriter& cloud, std::size_t room, GivenPoints* points,
                     PositionBox* positions, std::byte* begin) {
    const bool are_few =
        !points->are_records && points->count <= room && points->count < kFewPoints;
    const std::size_t written = are_few ? EncodeFew(cloud, points, positions, begin)
                                        : EncodeMany(cloud, room, points, positions, begin);
    cloud.point_count += static_cast<std::int64_t>(written);
    cloud.file.Commit(written * cloud.PointBytes());
}

/// The same through the token layer. An exception leaves the cloud between two points: those before
/// are written and counted, the others neither.
[[gnu::noinline]] TokenStatus WriteRunByTokens(CloudWriter& cloud, std::size_t room,
                                               GivenPoints* points, PositionBox* positions) {
    const std::size_t data_bytes = 4 * cloud.point_variables.DataFloats();
    for (std::size_t written = 0; written < room && points->count > 0; points->Advance(1)) {
        const PointHead head = points->Head();
        if (positions) positions->Include(head.position);
        if (head.radius < 0) continue;
        const TokenStatus status =
            WritePointTokens(cloud.file, head, points->Code(head), points->Data(data_bytes));
        PointBounds bounds(cloud);
        bounds.Include(head.position, head.radius);
        bounds.StoreTo(&cloud);
        ++cloud.point_count;
        ++written;
        if (Failed(status)) return status;
    }
    return TokenStatus::kOk;
}

/// Straight into the collecting buffer where that has room for all of them.
TokenStatus WriteRun(CloudWriter& cloud, std::size_t room, GivenPoints* points,
                     PositionBox* positions) {
    const std::size_t bytes = room * cloud.PointBytes();
    std::byte* const begin = cloud.file.IsText() ? nullptr : cloud.file.Reserve(bytes);
    if (!begin) return WriteRunByTokens(cloud, room, points, positions);
    WriteRunInPlace(cloud, room, points, positions, begin);
    return TokenStatus::kOk;
}

/// `positions`, unless null, is widened by each point, refused or not. `points` is a reference
/// because a copy would load as vectors what was just stored as scalars, which takes longer than
/// all else for a single point.
CloudStatus WriteAll(CloudWriter& cloud, GivenPoints&& points, PositionBox* positions) {
    if (!cloud.file.IsOpen() || cloud.has_failed) return CloudStatus::kFailed;
    BeginCollecting(cloud);

    const std::size_t given = points.count;
    const std::int64_t before = cloud.point_count;
    while (points.count > 0) {
        const auto room = static_cast<std::size_t>(RoomBeforeFlush(cloud.point_count));
        const std::int64_t run_start = cloud.point_count;
        TokenStatus status = WriteRun(cloud, std::min(room, points.count), &points, positions);
        const bool is_full = cloud.point_count - run_start == static_cast<std::int64_t>(room);
        if (!Failed(status) && is_full) status = FlushPiece(cloud);
        if (Failed(status)) {
            cloud.has_failed = true;
            return CloudStatus::kFailed;
        }
    }
    const bool took_all = cloud.point_count - before == static_cast<std::int64_t>(given);
    return took_all ? CloudStatus::kOk : CloudStatus::kFailed;
}

/// Where the record of a single point goes, if that is all there is to do for it; otherwise null.
std::byte* PlaceOfOne(CloudWriter& cloud, const PointHead& point) {
    const bool is_plain = cloud.file.IsOpen() && !cloud.has_failed && !cloud.file.IsText() &&
                          !(point.radius < 0) && RoomBeforeFlush(cloud.point_count) > 1;
    if (!is_plain) return nullptr;
    BeginCollecting(cloud);
    return cloud.file.Reserve(cloud.PointBytes());
}

}  // namespace

CloudStatus WritePoints(CloudWriter& cloud, const PointBatch& batch) {
    return WriteAll(cloud,
                    {batch.samples, false, batch.samples + sizeof(PointHead), 4 * batch.data_floats,
                     batch.count, batch.stride},
                    batch.positions);
}

CloudStatus WritePoint(CloudWriter& cloud, const PointHead& point, const float* data) {
    const std::size_t floats = data ? cloud.point_variables.DataFloats() : 0;
    const std::byte* const bytes = std::as_bytes(std::span(data, floats)).data();
    if (std::byte* const out = PlaceOfOne(cloud, point)) {
        EncodeOne(cloud, point, {bytes, 4 * floats, 4 * cloud.point_variables.DataFloats()}, out);
        ++cloud.point_count;
        cloud.file.Commit(cloud.PointBytes());
        return CloudStatus::kOk;
    }
    return WriteAll(cloud,
                    {std::as_bytes(std::span(&point, 1)).data(), false, bytes, 4 * floats, 1, 0},
                    nullptr);
}

CloudStatus WritePointRecords(CloudWriter& cloud, std::span<const std::byte> records) {
    const std::size_t record = cloud.PointBytes();
    return WriteAll(cloud,
                    {records.data(), true, records.data() + ptc_layout::kPointHeadBytes,
                     record - ptc_layout::kPointHeadBytes, records.size() / record, record},
                    nullptr);
}
