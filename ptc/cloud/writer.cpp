// The point cloud writer: creating the file, bringing its header up to date, finishing.

#include "ptc/cloud/writer.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

#include "ptc/cloud/cloud_file.h"
#include "ptc/format/header_write.h"
#include "ptc/format/layout.h"
#include "ptc/format/point_bounds.h"
#include "ptc/format/variables.h"
#include "util/base/number_cast.h"

namespace {

/// Copies the declarations and counts every variable once. Null, or why they are refused.
const char* CopyVariables(const VariableList& list, CloudVariables* copy) {
    if (list.count < 0 || list.count > ptc_layout::kMaxVariables)
        return "more variables than the format allows";
    if (list.count > 0 && (!list.types || !list.names)) return "variables without declarations";

    std::int64_t total = 0;
    for (int i = 0; i < list.count; ++i) {
        if (!list.types[i] || !list.names[i]) return "a variable without a declaration";
        const std::string& type = copy->types.emplace_back(list.types[i]);
        const std::string& name = copy->names.emplace_back(list.names[i]);
        if (type.find('\n') != std::string::npos || name.find('\n') != std::string::npos)
            return "a variable's declaration holds a newline";
        // A reader that finds half a type would count other floats than the records have.
        if (type.size() >= ptc_layout::kMaxWrittenDeclaration)
            return "a variable's type is too long";
        const std::int32_t size = copy->sizes.emplace_back(ComponentCount(type));
        if (size < 0) return "a variable's array suffix is negative";
        total += size;
    }
    if (total > ptc_layout::kMaxDataFloats) return "the variables take too many floats";
    copy->data_size = static_cast<std::int32_t>(total);
    return nullptr;
}

void CopyMatrix(const float* given, std::array<float, 16>* matrix) {
    constexpr std::array<float, 16> kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    if (given) {
        std::copy_n(given, matrix->size(), matrix->begin());
    } else {
        *matrix = kIdentity;
    }
}

/// Everything before the first point.
TokenStatus WriteHeader(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    cloud.header_position = file.Tell();
    // The header is rewritten in place: what has no positions cannot hold a point cloud.
    if (cloud.header_position < 0) return TokenStatus::kFailed;

    file.BeginBuffering(0);
    if (Failed(WriteRewritableBlock(file, cloud)) || Failed(file.EndBuffering()))
        return TokenStatus::kFailed;
    file.BeginBuffering(std::size_t{8192} * static_cast<unsigned>(cloud.point_variables.data_size) +
                        40960);
    if (Failed(WriteFixedHeader(file, cloud)) || Failed(file.EndBuffering()))
        return TokenStatus::kFailed;
    cloud.data_start = file.Tell();
    return cloud.data_start < 0 ? TokenStatus::kFailed : TokenStatus::kOk;
}

/// A cloud that is ready to be opened; null when the description is refused.
std::unique_ptr<CloudWriter> Describe(const CloudDescription& description, std::string* why) {
    auto cloud = std::make_unique<CloudWriter>();
    PointBounds().StoreTo(cloud.get());
    CopyMatrix(description.world_to_eye, &cloud->world_to_eye);
    CopyMatrix(description.world_to_ndc, &cloud->world_to_ndc);
    cloud->x_resolution = ClampToInt32(description.format[0]);
    cloud->y_resolution = ClampToInt32(description.format[1]);
    cloud->pixel_aspect = description.format[2];

    const char* refused = CopyVariables(description.point_variables, &cloud->point_variables);
    if (!refused) refused = CopyVariables(description.node_variables, &cloud->node_variables);
    if (!refused) return cloud;
    *why = refused;
    return nullptr;
}

/// Hands out the cloud when everything so far is written, and otherwise closes its file.
std::unique_ptr<CloudWriter> Opened(std::unique_ptr<CloudWriter> cloud, TokenStatus opened,
                                    std::string* why, int* error) {
    if (!Failed(opened) && !Failed(WriteHeader(*cloud))) return cloud;
    const int code = cloud->file.Error();
    *why = code ? std::generic_category().message(code) : "it cannot tell its positions";
    if (error) *error = code;
    (void)cloud->file.Close();
    return nullptr;
}

}  // namespace

std::unique_ptr<CloudWriter> CreateCloud(const CloudDescription& description, std::string* why,
                                         int* error) {
    if (error) *error = 0;
    auto cloud = Describe(description, why);
    if (!cloud) return nullptr;
    const char* const name = description.file_name ? description.file_name : "";
    const TokenForm form =
        std::getenv("LUMR_ASCIIPOINTCLOUD") ? TokenForm::kText : TokenForm::kBinary;
    const TokenStatus opened = CreateCloudFile(cloud->file, name, form);
    return Opened(std::move(cloud), opened, why, error);
}

std::unique_ptr<CloudWriter> CreateCloud(const CloudDescription& description,
                                         std::unique_ptr<ByteSink> sink, TokenForm form,
                                         std::string* why, int* error) {
    if (error) *error = 0;
    auto cloud = Describe(description, why);
    if (!cloud) return nullptr;
    const TokenStatus opened =
        cloud->file.OpenForWriting(std::move(sink), ptc_layout::kFileKind, form);
    return Opened(std::move(cloud), opened, why, error);
}

TokenStatus RewriteHeader(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    // Composed before the file moves, so that nothing lands in the header but the header.
    TokenFile::Group block(file);
    if (Failed(WriteRewritableBlock(file, cloud)) || Failed(file.Seek(cloud.header_position)) ||
        Failed(block.Put()))
        return TokenStatus::kFailed;
    cloud.counted_points = cloud.point_count;
    return file.SeekToEnd();
}

CloudStatus FinishCloud(CloudWriter& cloud) {
    if (!cloud.file.IsOpen()) return CloudStatus::kFailed;
    if (Failed(cloud.file.EndBuffering())) cloud.has_failed = true;
    if (!cloud.has_failed) cloud.stored_points = cloud.point_count;
    // After a failure the header must not promise records that are not there.
    cloud.point_count = cloud.stored_points;
    TokenStatus rewritten = RewriteHeader(cloud);
    // Without its counts the file is as good as lost: a device that failed once is asked again.
    if (Failed(rewritten)) rewritten = RewriteHeader(cloud);
    const TokenStatus closed = cloud.file.Close();
    if (cloud.has_failed || Failed(rewritten)) return CloudStatus::kFailed;
    return ToCloudStatus(closed);
}
