// The point cloud reader: opening, what is refused, what is repaired.

#include "ptc/cloud/reader.h"

#include <algorithm>
#include <system_error>

#include "ptc/cloud/cloud_file.h"
#include "ptc/cloud/cloud_messages.h"
#include "ptc/format/header_grammar.h"
#include "ptc/format/layout.h"
#include "ptc/format/variables.h"
#include "util/base/number_cast.h"

namespace {

constexpr const char* kEndsEarly = "the header is cut off or damaged";

/// Least bytes of one point in text form, whatever its values are: "1 2 3 0 0 1" and a newline.
constexpr std::int64_t kMinTextPoint = 12;

/// Why a header with this fault is refused; null: it is read all the same.
const char* WhyRefused(HeaderFault fault, std::string_view key) {
    switch (fault) {
        case HeaderFault::kMissing:
        case HeaderFault::kDeclarationMissing:
            return kEndsEarly;
        case HeaderFault::kVariableCount:
            return "its number of variables is impossible";
        case HeaderFault::kDeclarationTooLong:
            return "a variable's declaration is too long";
        case HeaderFault::kUnknownType:
        case HeaderFault::kNoFloats:
            return "a variable's type is not known or has no floats";
        case HeaderFault::kNotACount:
            return key == "npoints" ? "its number of points is impossible"
                                    : "its number of octree nodes is impossible";
        case HeaderFault::kDataSize:
            return "its data size is not that of its variables";
        case HeaderFault::kTooManyFloats:
            return "its variables take too many floats";
        case HeaderFault::kNotFinite:
        case HeaderFault::kBoxInsideOut:
        case HeaderFault::kNodesWithoutRoot:
        case HeaderFault::kRootWithoutNodes:
        case HeaderFault::kNotARadius:
            break;
    }
    return nullptr;
}

/// Keeps the reason of the first fault for which a header is refused, and stops there unless there
/// is another listener, which decides.
class Refusal final : public HeaderListener {
public:
    Refusal(bool is_quiet, HeaderListener* other) : is_quiet_(is_quiet), other_(other) {}

    bool Hear(const HeaderFinding& finding) override {
        if (!why_) why_ = WhyRefused(finding.fault, finding.key);
        // Counted once more for the line that it prints.
        if (finding.fault == HeaderFault::kUnknownType && !is_quiet_)
            (void)ComponentCount(SplitDeclaration(finding.line).type);
        return other_ ? other_->Hear(finding) : !why_;
    }
    const char* Why() const { return why_; }

private:
    const bool is_quiet_;
    HeaderListener* const other_;
    const char* why_ = nullptr;
};

/// The octree of a compressed file is never used: nodes are found by their offsets, and every jump
/// would inflate the file from its start.
void LeaveOctree(CloudReader& cloud) {
    if (!cloud.input.IsCompressed() || cloud.point_count == 0) return;
    if (!cloud.is_quiet) cloud_messages::OctreeIsCompressed(cloud.name);
    cloud.node_count = 0;
    cloud.root_position = 0;
}

/// Puts defaults in for a format that makes no sense.
void UseFormat(StoredHeader& cloud) {
    const std::array<float, 3>& format = cloud.stored_format;
    cloud.stored_world_to_ndc = cloud.world_to_ndc;
    const auto is_size = [](float size) { return size >= 1 && size <= 16000; };
    cloud.pixel_aspect = is_size(format[0]) && is_size(format[1]) ? format[2] : -1.0f;
    if (cloud.pixel_aspect > 0) {
        cloud.x_resolution = ClampToInt32(format[0]);
        cloud.y_resolution = ClampToInt32(format[1]);
        return;
    }
    cloud.x_resolution = 640;
    cloud.y_resolution = 480;
    cloud.pixel_aspect = 1;
    cloud.world_to_ndc = {1.811f, 0, 0, 0, 0, 2.414f, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 0};
}

/// Whether the file has room for what its header counts. A header that counts fewer points than
/// there are is one that lags; it may. Null, or why the file is refused.
const char* CheckSizes(const CloudReader& cloud) {
    const TokenInput& input = cloud.input;
    const std::int64_t stored = input.StoredBytes();
    if (stored < 0 || input.IsCompressed()) return nullptr;
    const auto floats = static_cast<std::size_t>(cloud.point_variables.data_size);
    const std::int64_t point =
        input.IsText() ? kMinTextPoint : static_cast<std::int64_t>(ptc_layout::PointBytes(floats));
    const std::int64_t left = stored - cloud.data_start;
    if (left < 0 || cloud.point_count > left / point)
        return "it is shorter than its number of points takes";
    const auto node = static_cast<std::int64_t>(ptc_layout::MinNodeBytes(0));
    if (cloud.node_count > left / node)
        return "it is shorter than its number of octree nodes takes";
    return nullptr;
}

/// Hands out the cloud when its header is read. `error`: may be null.
std::unique_ptr<CloudReader> Opened(std::unique_ptr<CloudReader> cloud, TokenOpenStatus status,
                                    CountCheck check, std::string* why, int* error) {
    if (status == TokenOpenStatus::kOk) {
        HeaderPlaces places;
        const char* const refused = ReadHeader(*cloud, check, &places);
        if (!refused) return cloud;
        *why = refused;
    } else if (status == TokenOpenStatus::kOtherType) {
        *why = "it is not a point cloud file";
    }
    const int code = cloud->input.Error();
    if (status == TokenOpenStatus::kUnreadable)
        *why = code ? std::generic_category().message(code) : kEndsEarly;
    if (error) *error = code;
    return nullptr;
}

std::unique_ptr<CloudReader> NewReader(const char* name, const OpenOptions& options) {
    auto cloud = std::make_unique<CloudReader>();
    cloud->name = name;
    cloud->is_quiet = options.is_quiet;
    cloud->input.ReadAheadInto(options.room);
    return cloud;
}

}  // namespace

std::unique_ptr<CloudReader> OpenCloud(const char* name, std::string* why,
                                       const OpenOptions& options, int* error) {
    auto cloud = NewReader(name, options);
    const TokenOpenStatus status = OpenCloudFile(cloud->input, name, &cloud->version);
    return Opened(std::move(cloud), status, options.counts, why, error);
}

std::unique_ptr<CloudReader> OpenCloud(std::unique_ptr<ByteSource> source, const char* name,
                                       std::string* why, const OpenOptions& options) {
    auto cloud = NewReader(name, options);
    const TokenOpenStatus status =
        cloud->input.OpenForReading(std::move(source), ptc_layout::kFileKind, &cloud->version);
    return Opened(std::move(cloud), status, options.counts, why, nullptr);
}

const char* ReadHeader(CloudReader& cloud, CountCheck counts, HeaderPlaces* places,
                       HeaderListener* listener) {
    if (cloud.version > ptc_layout::kVersion) return "its version is not known";
    Refusal refusal(cloud.is_quiet, listener);
    const CloudStatus walked = WalkHeader(cloud.input, &cloud, places, refusal);
    // A file that is refused further on has told this by then.
    if (places->root_position >= 0) LeaveOctree(cloud);
    if (refusal.Why()) return refusal.Why();
    if (Failed(walked)) return kEndsEarly;
    UseFormat(cloud);
    return counts == CountCheck::kStrict ? CheckSizes(cloud) : nullptr;
}
