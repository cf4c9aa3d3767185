// The point cloud writer's points: bounds, records, pieces and checkpoints.

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <vector>

#include "ptc/cloud/writer.h"
#include "ptc/format/layout.h"
#include "ptc/format/point_bounds.h"
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

NormalCode CodeOf(const PointHead& point) {
    return EncodeNormal(point.normal[0], point.normal[1], point.normal[2]);
}

/// The samples of a batch, one after the other.
class BatchSource {
public:
    BatchSource(const PointBatch& batch, std::size_t data_floats)
        : next_(batch.samples),
          left_(batch.count),
          stride_(batch.stride),
          have_(4 * batch.data_floats),
          want_(4 * data_floats),
          positions_(batch.positions) {}

    std::size_t Left() const { return left_; }

    PointHead Head() const {
        PointHead head;
        std::memcpy(&head, next_, sizeof head);
        return head;
    }
    NormalCode Code(const PointHead& head) const { return CodeOf(head); }
    PointData Data() const { return {next_ + sizeof(PointHead), have_, want_}; }

    void Advance() {
        next_ += stride_;
        --left_;
    }
    void WereAt(const PositionBox& run) {
        if (positions_) positions_->Include(run);
    }

private:
    const std::byte* next_;
    std::size_t left_;
    std::size_t stride_;
    std::size_t have_;
    std::size_t want_;
    PositionBox* positions_;
};

/// One point whose data lie elsewhere.
class SinglePoint {
public:
    SinglePoint(const PointHead& head, PointData data) : head_(head), data_(data) {}

    std::size_t Left() const { return left_; }
    const PointHead& Head() const { return head_; }
    NormalCode Code(const PointHead& head) const { return CodeOf(head); }
    PointData Data() const { return data_; }
    void Advance() { left_ = 0; }
    void WereAt(const PositionBox&) {}

private:
    const PointHead& head_;
    PointData data_;
    std::size_t left_ = 1;
};

/// Records of the binary form, whose normals are codes already.
class RecordSource {
public:
    RecordSource(std::span<const std::byte> records, std::size_t data_floats)
        : next_(records.data()),
          left_(records.size() / ptc_layout::PointBytes(data_floats)),
          data_bytes_(4 * data_floats) {}

    std::size_t Left() const { return left_; }

    /// Without the normal, which nobody needs beside the code.
    PointHead Head() const {
        PointHead head{};
        Take(kPosition, head.position);
        Take(kRadius, &head.radius);
        return head;
    }
    NormalCode Code(const PointHead&) const {
        NormalCode code;
        Take(kAzimuth, &code.azimuth);
        Take(kHeight, &code.height);
        return code;
    }
    PointData Data() const {
        return {next_ + ptc_layout::kPointHeadBytes, data_bytes_, data_bytes_};
    }

    void Advance() {
        next_ += ptc_layout::kPointHeadBytes + data_bytes_;
        --left_;
    }
    void WereAt(const PositionBox&) {}

private:
    static constexpr auto kPosition = Find(ptc_layout::kPoint, "position");
    static constexpr auto kAzimuth = Find(ptc_layout::kPoint, "azimuth");
    static constexpr auto kHeight = Find(ptc_layout::kPoint, "height");
    static constexpr auto kRadius = Find(ptc_layout::kPoint, "radius");

    void Take(const ptc_layout::Field& field, void* value) const {
        std::memcpy(value, next_ + field.offset, field.bytes);
    }

    const std::byte* next_;
    std::size_t left_;
    std::size_t data_bytes_;
};

/// Takes samples until `room` are written or none is left; refused ones are left out. `begin`: room
/// for as many records behind what is collected.
template <class Source>
void WriteRunInPlace(CloudWriter& cloud, Source& samples, std::size_t room, std::byte* begin) {
    const std::size_t record = cloud.PointBytes();
    std::byte* out = begin;
    std::size_t written = 0;
    // Both boxes are local, so that they stay in registers whatever `out` may alias.
    PointBounds bounds(cloud);
    PositionBox positions;
    for (; written < room && samples.Left(); samples.Advance()) {
        const PointHead head = samples.Head();
        positions.Include(head.position);
        if (head.radius < 0) continue;
        bounds.Include(head.position, head.radius);
        ++written;
        EncodePoint(head, samples.Code(head), samples.Data(), out);
        out += record;
    }
    bounds.StoreTo(&cloud);
    samples.WereAt(positions);
    cloud.point_count += static_cast<std::int64_t>(written);
    cloud.file.Commit(written * record);
}

/// The same through the token layer. What it throws comes between two points, the first of which
/// is counted and the second neither written nor counted.
template <class Source>
TokenStatus WriteRunByTokens(CloudWriter& cloud, Source& samples, std::size_t room) {
    for (std::size_t written = 0; written < room && samples.Left(); samples.Advance()) {
        const PointHead head = samples.Head();
        PositionBox position;
        position.Include(head.position);
        samples.WereAt(position);
        if (head.radius < 0) continue;
        const TokenStatus status =
            WritePointTokens(cloud.file, head, samples.Code(head), samples.Data());
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
template <class Source>
TokenStatus WriteRun(CloudWriter& cloud, Source& samples, std::size_t room) {
    const std::size_t record = cloud.PointBytes();
    std::byte* const begin = cloud.file.IsText() ? nullptr : cloud.file.Reserve(room * record);
    if (!begin) return WriteRunByTokens(cloud, samples, room);
    WriteRunInPlace(cloud, samples, room, begin);
    return TokenStatus::kOk;
}

template <class Source>
CloudStatus WriteAll(CloudWriter& cloud, Source samples) {
    if (!cloud.file.IsOpen() || cloud.has_failed) return CloudStatus::kFailed;
    BeginCollecting(cloud);

    const std::size_t given = samples.Left();
    const std::int64_t before = cloud.point_count;
    while (samples.Left()) {
        const auto room = static_cast<std::size_t>(RoomBeforeFlush(cloud.point_count));
        const std::int64_t run_start = cloud.point_count;
        TokenStatus status = WriteRun(cloud, samples, std::min(room, samples.Left()));
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

}  // namespace

CloudStatus WritePoints(CloudWriter& cloud, const PointBatch& batch) {
    return WriteAll(cloud, BatchSource(batch, cloud.point_variables.DataFloats()));
}

CloudStatus WritePoint(CloudWriter& cloud, const PointHead& point, const float* data) {
    const std::size_t wanted = cloud.point_variables.DataFloats();
    const auto floats = data ? std::span(data, wanted) : std::span<const float>();
    return WriteAll(
        cloud, SinglePoint(point, {std::as_bytes(floats).data(), floats.size_bytes(), 4 * wanted}));
}

CloudStatus WritePointRecords(CloudWriter& cloud, std::span<const std::byte> records) {
    return WriteAll(cloud, RecordSource(records, cloud.point_variables.DataFloats()));
}
