// The writer as users of the library see it.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "ptc/access/last_failure.h"
#include "ptc/access/named_place.h"
#include "ptc/cloud/writer.h"
#include "ptc/reader.h"
#include "ptc/writer.h"
#include "util/io/whole_file.h"

namespace {

constexpr std::size_t kBatchBytes = std::size_t{1} << 17;  // samples that are written at a time

}  // namespace

/// One file that is being written.
class PtcCloudWriter {
public:
    /// False: the failure is stored. Throws std::bad_alloc, as all members do.
    bool Begin(const PtcCloudDescription& wanted);
    bool WritePoint(const float* position, const float* normal, float radius, const float* data);
    bool WritePoints(const PtcPointsToWrite& points);
    bool WriteRecords(std::int64_t count, const std::byte* records);
    bool WriteNode(const PtcNewNode& node, const std::int64_t (*children)[kNodeChildren],
                   std::int64_t* reference);
    bool Finish();

    const char* Name() const { return name_.c_str(); }

private:
    bool Refuse(const char* what, const char* reason) const;
    bool MayWrite(std::int64_t count, const std::byte* radii, std::size_t stride) const;
    bool FailToWrite(int error) const;
    template <class Write>
    bool WriteBatch(Write write);

    std::string name_;
    std::unique_ptr<WholeFile> beside_;  ///< null: what has the name is written directly
    std::unique_ptr<CloudWriter> cloud_;
    std::vector<float> zeros_;
    std::vector<std::byte> samples_;  ///< of a batch
    std::int64_t first_node_ = 0;     ///< reference of the node written first; 0: none yet
};

bool PtcCloudWriter::Begin(const PtcCloudDescription& wanted) {
    if (!wanted.name || !*wanted.name) return Refuse("cannot be written", "it has no name");
    name_ = NamedPlace(wanted.name).Get();
    struct stat info;
    const bool is_direct = ::stat(Name(), &info) == 0 && !S_ISREG(info.st_mode);
    CloudDescription description{};
    description.file_name = Name();
    if (!is_direct) {
        beside_ = std::make_unique<WholeFile>();
        if (!beside_->Begin(name_)) return FailToWrite(errno);
        description.file_name = beside_->Path().c_str();
    }
    const auto list = [](const PtcVariableList& from) {
        return VariableList{from.count, from.types, from.names};
    };
    description.point_variables = list(wanted.point_variables);
    description.node_variables = list(wanted.node_variables);
    description.world_to_eye = wanted.world_to_eye;
    description.world_to_ndc = wanted.world_to_ndc;
    std::copy_n(wanted.format, 3, description.format);
    std::string why;
    int error = 0;
    cloud_ = CreateCloud(description, &why, &error);
    if (!cloud_) {
        if (error != 0) return FailToWrite(error);
        return Refuse("cannot be written", why.c_str());
    }
    zeros_.resize(static_cast<std::size_t>(
        std::max(cloud_->point_variables.data_size, cloud_->node_variables.data_size)));
    return true;
}

bool PtcCloudWriter::Refuse(const char* what, const char* reason) const {
    SetFailure(PtcFailureCode::kBadArgument, name_.empty() ? nullptr : Name(), what, 0, reason);
    return false;
}

bool PtcCloudWriter::FailToWrite(int error) const {
    SetFailure(PtcFailureCode::kCannotWrite, Name(), "cannot be written", error);
    return false;
}

bool PtcCloudWriter::WritePoint(const float* position, const float* normal, float radius,
                                const float* data) {
    constexpr const char* kWhat = "a point is refused";
    if (!position || !normal) return Refuse(kWhat, "it has no position or no normal");
    if (radius < 0) return Refuse(kWhat, "its radius is negative");
    if (first_node_ != 0) return Refuse(kWhat, "nodes were written already");
    PointHead head{};
    std::copy_n(position, 3, head.position);
    std::copy_n(normal, 3, head.normal);
    head.radius = radius;
    if (!Failed(::WritePoint(*cloud_, head, data ? data : zeros_.data()))) return true;
    return FailToWrite(cloud_->file.Error());
}

/// Whether points with these radii, `stride` bytes apart, may be written now. If not, the failure
/// names the first one that is refused. `radii`: null for zeros.
bool PtcCloudWriter::MayWrite(std::int64_t count, const std::byte* radii,
                              std::size_t stride) const {
    constexpr const char* kWhat = "points are refused";
    if (count < 0) return Refuse(kWhat, "their number is negative");
    if (first_node_ != 0) return Refuse(kWhat, "nodes were written already");
    for (std::int64_t i = 0; radii && i < count; ++i, radii += stride) {
        float radius;
        std::memcpy(&radius, radii, sizeof radius);
        if (radius < 0)
            return Refuse(kWhat, ("the radius of point " + std::to_string(cloud_->point_count + i) +
                                  " is negative")
                                     .c_str());
    }
    return true;
}

/// Calls what writes many points. When memory runs out behind the first of them, nobody can know
/// which are missing, so nothing else may follow.
template <class Write>
bool PtcCloudWriter::WriteBatch(Write write) {
    const std::int64_t before = cloud_->point_count;
    try {
        return !Failed(write()) || FailToWrite(cloud_->file.Error());
    } catch (...) {
        if (cloud_->point_count != before) cloud_->has_failed = true;
        throw;
    }
}

bool PtcCloudWriter::WritePoints(const PtcPointsToWrite& points) {
    const auto* const radii = reinterpret_cast<const std::byte*>(points.radii);
    if (points.count > 0 && (!points.positions || !points.normals))
        return Refuse("points are refused", "they have no positions or no normals");
    if (!MayWrite(points.count, radii, sizeof(float))) return false;
    const std::size_t floats = points.data ? cloud_->point_variables.DataFloats() : 0;
    const std::size_t stride = sizeof(PointHead) + floats * sizeof(float);
    const std::size_t at_once = std::max<std::size_t>(1, kBatchBytes / stride);
    return WriteBatch([&] {
        CloudStatus status = CloudStatus::kOk;
        for (std::int64_t done = 0; done < points.count && !Failed(status);) {
            const std::size_t count =
                std::min(at_once, static_cast<std::size_t>(points.count - done));
            samples_.resize(std::max(samples_.size(), count * stride));
            std::byte* sample = samples_.data();
            for (std::size_t i = 0; i < count; ++i, ++done, sample += stride) {
                PointHead head{};
                std::copy_n(points.positions + 3 * done, 3, head.position);
                std::copy_n(points.normals + 3 * done, 3, head.normal);
                head.radius = points.radii ? points.radii[done] : 0;
                std::memcpy(sample, &head, sizeof head);
                if (floats > 0)
                    std::memcpy(sample + sizeof head,
                                points.data + static_cast<std::size_t>(done) * floats,
                                floats * sizeof(float));
            }
            status = ::WritePoints(*cloud_, {samples_.data(), count, stride, floats});
        }
        return status;
    });
}

bool PtcCloudWriter::WriteRecords(std::int64_t count, const std::byte* records) {
    const std::size_t record = cloud_->PointBytes();
    if (count > 0 && !records) return Refuse("points are refused", "they have no records");
    if (!MayWrite(count, records ? records + PtcRecordPlaces::kRadius : nullptr, record))
        return false;
    return WriteBatch([&] {
        return WritePointRecords(*cloud_, {records, static_cast<std::size_t>(count) * record});
    });
}

bool PtcCloudWriter::WriteNode(const PtcNewNode& node,
                               const std::int64_t (*children)[kNodeChildren],
                               std::int64_t* reference) {
    constexpr const char* kWhat = "a node is refused";
    if (node.first_point < 0 || node.point_count < 0 ||
        std::int64_t{node.first_point} + node.point_count > cloud_->point_count)
        return Refuse(kWhat, "it covers points that do not exist");
    for (int i = 0; children && i < kNodeChildren; ++i) {
        const std::int64_t child = (*children)[i];
        if (child != 0 &&
            (first_node_ == 0 || child < first_node_ || child > cloud_->root_position))
            return Refuse(kWhat, "a child was not written before it");
    }
    NodeToWrite record{node.first_point, node.point_count, {}, node.data};
    std::copy_n(node.box, 6, record.box);
    // Readers expect the floats that the header declares.
    if (!record.data) record.data = zeros_.data();
    std::int64_t at = 0;
    if (Failed(::WriteNode(*cloud_, record, children ? *children : nullptr, &at)))
        return FailToWrite(cloud_->file.Error());
    if (first_node_ == 0) first_node_ = at;
    if (reference) *reference = at;
    return true;
}

bool PtcCloudWriter::Finish() {
    if (Failed(FinishCloud(*cloud_))) return FailToWrite(cloud_->file.Error());
    return !beside_ || beside_->Commit() || FailToWrite(errno);
}

// --- the functions ---

namespace {

/// Calls a member of the writer, if there is one.
template <class Call>
bool With(PtcCloudWriter* cloud, Call call) noexcept {
    if (!cloud) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no writer");
        return false;
    }
    return CatchNoMemory(cloud->Name(), false, [&] { return call(*cloud); });
}

}  // namespace

PtcCloudWriter* PtcCreateCloud(const PtcCloudDescription& description) noexcept {
    return CatchNoMemory(description.name, static_cast<PtcCloudWriter*>(nullptr), [&] {
        auto writer = std::make_unique<PtcCloudWriter>();
        return writer->Begin(description) ? writer.release() : nullptr;
    });
}

bool PtcWritePoint(PtcCloudWriter* cloud, const float* position, const float* normal, float radius,
                   const float* data) noexcept {
    return With(cloud, [&](PtcCloudWriter& writer) {
        return writer.WritePoint(position, normal, radius, data);
    });
}

bool PtcWritePoints(PtcCloudWriter* cloud, const PtcPointsToWrite& points) noexcept {
    return With(cloud, [&](PtcCloudWriter& writer) { return writer.WritePoints(points); });
}

bool PtcWriteRecords(PtcCloudWriter* cloud, std::int64_t count, const void* records) noexcept {
    return With(cloud, [&](PtcCloudWriter& writer) {
        return writer.WriteRecords(count, static_cast<const std::byte*>(records));
    });
}

bool PtcWriteNode(PtcCloudWriter* cloud, const PtcNewNode& node,
                  const std::int64_t (*children)[kNodeChildren], std::int64_t* reference) noexcept {
    return With(
        cloud, [&](PtcCloudWriter& writer) { return writer.WriteNode(node, children, reference); });
}

bool PtcFinishCloud(PtcCloudWriter* cloud) noexcept {
    const std::unique_ptr<PtcCloudWriter> ended(cloud);
    return With(cloud, [](PtcCloudWriter& writer) { return writer.Finish(); });
}

void PtcAbandonCloud(PtcCloudWriter* cloud) noexcept {
    delete cloud;
}
