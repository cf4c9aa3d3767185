// Runs of points, children of a node, variables by name.

#include "ptc/cloud/record_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "ptc/cloud/points_ahead.h"
#include "ptc/format/layout.h"
#include "ptc/format/point_decode.h"
#include "ptc/format/record_storage.h"
#include "ptc/format/token_records.h"

namespace {

/// Room for 256 points of 11 floats.
constexpr std::size_t kBytesOnStack = 16384;

constexpr std::size_t kHeadFloats = sizeof(PointHead) / sizeof(float);

std::size_t Unsigned(std::int64_t value) {
    return static_cast<std::size_t>(value);
}

void StoreNode(const NodeRecord& node, PtcNode* record) {
    record->first_point = node.first_point;
    record->point_count = node.point_count;
    std::copy_n(node.box, 6, record->box);
    std::copy_n(node.children, kNodeChildren, record->children);
}

}  // namespace

CloudStatus PtcRecordReader::Open(const char* name, bool in_memory, std::string* why, int* error) {
    // Without points to be read, a page is more than nearly every header takes.
    std::array<std::byte, 4096> room;
    OpenOptions options;
    if (!in_memory) options.room = room;
    const auto cloud = OpenCloud(name, why, options, error);
    if (!cloud) return CloudStatus::kFailed;
    is_text_ = cloud->input.IsText();
    is_gzip_ = cloud->input.IsCompressed();
    if (in_memory) {
        header_ = *cloud;  // reading the points uses the cloud's own
    } else {
        header_ = std::move(static_cast<StoredHeader&>(*cloud));
    }
    const auto record = static_cast<std::int64_t>(header_.PointBytes());
    // Behind the points of a binary file; in a text file only reading shows where they end.
    points_end_ = header_.data_start;
    if (!is_text_ && !is_gzip_) points_end_ += header_.point_count * record;

    // The reader keeps the node count of a compressed file that has no points. Nothing bounds it.
    if (is_gzip_) header_.node_count = 0;
    if (in_memory) {
        // The cursor hands points out in their order only, which is of no use to a tree.
        header_.node_count = 0;
        header_.root_position = 0;
        const CloudStatus loaded = LoadPoints(*cloud, why);
        if (error) *error = cloud->input.Error();
        NewRandomSource(cloud->input.TakeFile(&stamp_), false).reset();  // closes it
        return loaded;
    }
    source_ = NewRandomSource(cloud->input.TakeFile(&stamp_), is_gzip_);
    if (is_text_)
        text_points_.Begin(*source_, header_.data_start, header_.point_variables.DataFloats());
    return CloudStatus::kOk;
}

void PtcRecordReader::Close() {
    source_.reset();
}

CloudStatus PtcRecordReader::LoadPoints(CloudReader& cloud, std::string* why) {
    const std::size_t record = FloatsInMemory();
    PointHead head;
    std::size_t count = 0;
    values_.clear();
    for (std::int64_t i = 0; i < cloud.point_count; ++i) {
        // Grown as points really come: the header alone is not worth this much memory.
        const std::size_t at = values_.size();
        values_.resize(at + record);
        const auto data = std::span(values_).subspan(at + kHeadFloats);
        if (Failed(::ReadPoints(cloud, std::span(&head, 1), data, &count))) {
            *why = std::string("points of '") + cloud.name + "' cannot be read";
            return CloudStatus::kFailed;
        }
        std::memcpy(&values_[at], &head, sizeof head);
    }
    is_in_memory_ = true;
    next_value_ = 0;
    return CloudStatus::kOk;
}

/// Of one point of a file in memory.
std::size_t PtcRecordReader::FloatsInMemory() const {
    return kHeadFloats + header_.point_variables.DataFloats();
}

/// Copies `count` points from those in memory, beginning at float `at`.
CloudStatus PtcRecordReader::CopyFromMemory(std::size_t at, std::int64_t count,
                                            PtcPoint* records) const {
    const std::size_t record = FloatsInMemory();
    for (std::int64_t i = 0; i < count; ++i, at += record) {
        if (values_.size() - at < record) return CloudStatus::kFailed;
        PointHead head;
        std::memcpy(&head, &values_[at], sizeof head);
        StoreHead(head, &records[i]);
        std::copy_n(&values_[at] + kHeadFloats, record - kHeadFloats, StorageOf(records[i]));
    }
    return CloudStatus::kOk;
}

bool PtcRecordReader::HasRun(std::int64_t first, std::int64_t count) const {
    return first >= 0 && count >= 0 && first <= header_.point_count &&
           count <= header_.point_count - first;
}

CloudStatus PtcRecordReader::ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records) {
    if (!is_in_memory_) return ReadPointsAnywhere(first, count, records);
    const CloudStatus status = CopyFromMemory(next_value_, count, records);
    if (!Failed(status)) next_value_ += Unsigned(count) * FloatsInMemory();
    return status;
}

CloudStatus PtcRecordReader::ReadPointsAnywhere(std::int64_t first, std::int64_t count,
                                                PtcPoint* records) {
    if (!IsOpen() || !HasRun(first, count)) return CloudStatus::kFailed;
    if (is_in_memory_) return CopyFromMemory(Unsigned(first) * FloatsInMemory(), count, records);
    return is_text_ ? text_points_.Read(first, count, records)
                    : ReadBinaryPoints(first, count, records);
}

CloudStatus PtcRecordReader::ReadBinaryPoints(std::int64_t first, std::int64_t count,
                                              PtcPoint* records) {
    const std::size_t floats = header_.point_variables.DataFloats();
    const std::size_t record = header_.PointBytes();
    // The header was checked against the file's size, but that of a gzip file is not known.
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    const auto bytes = static_cast<std::int64_t>(record);
    if (first > (kMost - header_.data_start) / bytes || count > kMost / bytes)
        return CloudStatus::kFailed;

    const std::int64_t offset = header_.data_start + first * bytes;
    const std::size_t wanted = Unsigned(count) * record;
    if (PointsAhead* const ahead = is_gzip_ ? nullptr : PointsAhead::Current()) {
        const std::int64_t run = std::clamp(ahead->End(), first, header_.point_count) - first;
        const std::int64_t most = std::min(run, PointsAhead::kMost / bytes) * bytes;
        if (const std::byte* const there = ahead->Find(*source_, offset, wanted, most)) {
            DecodePoints({there, Unsigned(count), floats}, records);
            return CloudStatus::kOk;
        }
    }
    // The bytes of a cache's block lie on the stack, unless a point has many floats.
    std::array<std::byte, kBytesOnStack> on_stack;
    std::unique_ptr<std::byte[]> on_heap;
    if (wanted > on_stack.size()) on_heap.reset(new std::byte[wanted]);
    std::byte* const raw = on_heap ? on_heap.get() : on_stack.data();
    const std::int64_t there = source_->ReadAt(offset, {raw, wanted});
    const std::int64_t whole = std::max<std::int64_t>(there, 0) / bytes;
    DecodePoints({raw, Unsigned(whole), floats}, records);
    return whole == count ? CloudStatus::kOk : CloudStatus::kFailed;
}

/// Bytes read of a node's children: from one of them on, enough for all that are still to come in
/// the usual case that each follows the one before. Eight children then take one read, not eight.
struct PtcRecordReader::Children {
    std::size_t left;  ///< children that are still to come
    std::vector<std::byte> bytes;
    std::int64_t begin = 0;  ///< offset in the file of the first byte
    std::int64_t next = 0;   ///< where the next child is expected; no reference is 0
};

/// Whether `node`, read at `reference`, names only points and nodes that the file can have.
bool PtcRecordReader::IsSound(const NodeRecord& node, std::int64_t reference) const {
    if (node.first_point < 0 || node.point_count < 0 ||
        std::int64_t{node.first_point} + node.point_count > header_.point_count)
        return false;
    return std::all_of(std::begin(node.children), std::end(node.children), [&](std::int64_t child) {
        return child == 0 || (child >= points_end_ && child < reference);
    });
}

bool PtcRecordReader::ReadOneChild(Children& children, std::int64_t reference, PtcNode* record) {
    const std::size_t floats = header_.node_variables.DataFloats();
    const std::span<float> data(StorageOf(*record), floats);
    NodeRecord node;
    if (is_text_) {
        TokenInput input;
        input.ResumeText(std::make_unique<RandomSourceReader>(*source_, reference));
        if (Failed(ReadTextNode(input, &node, data))) return false;
    } else {
        if (reference != children.next) {
            // The first, or not where it is expected: the reference wins.
            children.bytes.resize(ptc_layout::MaxNodeBytes(floats) * children.left);
            const std::int64_t read = source_->ReadAt(reference, children.bytes);
            children.bytes.resize(Unsigned(std::max<std::int64_t>(read, 0)));
            children.begin = reference;
        }
        ByteCursor cursor(std::span(children.bytes).subspan(Unsigned(reference - children.begin)));
        const std::size_t before = cursor.Left();
        if (!DecodeNode(cursor, &node, data)) return false;
        children.next = reference + static_cast<std::int64_t>(before - cursor.Left());
    }
    if (!IsSound(node, reference)) return false;
    StoreNode(node, record);
    return true;
}

CloudStatus PtcRecordReader::ReadNodeChildren(const std::int64_t* references, PtcNode* records) {
    const auto present = kNodeChildren - std::count(references, references + kNodeChildren, 0);
    if (!source_ || present == 0 || header_.node_count == 0) return CloudStatus::kFailed;

    Children children{Unsigned(present), {}};
    for (int i = 0; i < kNodeChildren; ++i) {
        const std::int64_t reference = references[i];
        if (reference == 0) continue;
        if (reference < points_end_ || !ReadOneChild(children, reference, &records[i]))
            return CloudStatus::kFailed;
        --children.left;
    }
    return CloudStatus::kOk;
}

void FindVariables(const CloudVariables& variables, std::span<const char* const> names,
                   std::int32_t* offsets, std::int32_t* sizes) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        offsets[i] = -1;
        std::int32_t before = 0;
        for (std::size_t k = 0; k < variables.names.size() && offsets[i] < 0; ++k) {
            if (names[i] && variables.names[k] == names[i]) {
                offsets[i] = before;
                sizes[i] = variables.sizes[k];
            }
            before += variables.sizes[k];
        }
    }
}
