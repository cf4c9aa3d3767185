// The point cloud writer: creating the file, nodes, the header block, finishing.

#include "ptc/cloud/writer.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <numeric>
#include <system_error>

#include "ptc/cloud/cloud_file.h"
#include "ptc/format/layout.h"
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

TokenStatus WriteDeclarations(TokenFile& file, const CloudVariables& variables) {
    for (std::size_t i = 0; i < variables.types.size(); ++i) {
        std::string line = variables.types[i] + ' ' + variables.names[i];
        if (line.size() > ptc_layout::kMaxWrittenDeclaration)
            line.resize(ptc_layout::kMaxWrittenDeclaration);
        if (Failed(file.WriteLine(line))) return TokenStatus::kFailed;
    }
    return TokenStatus::kOk;
}

/// Runs `steps` in order up to the first that fails.
template <class... Step>
TokenStatus InOrder(Step... steps) {
    return (... && !Failed(steps())) ? TokenStatus::kOk : TokenStatus::kFailed;
}

/// The rewritable block. Every number has a fixed width in text form too.
TokenStatus WriteBlock(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    std::array<float, 6> box;
    std::copy(cloud.box_min.begin(), cloud.box_min.end(), box.begin());
    std::copy(cloud.box_max.begin(), cloud.box_max.end(), box.begin() + 3);
    std::array<float, ptc_layout::kPaddingFloats> padding;
    padding.fill(std::bit_cast<float>(ptc_layout::kPaddingBits));

    const auto points = static_cast<double>(cloud.point_count);
    const auto nodes = static_cast<double>(cloud.node_count);
    return InOrder([&] { return file.WriteDouble("npoints", points, "%16.0lf"); },
                   [&] { return file.WriteFloats("bbox", box, "%13e"); },
                   [&] { return file.WriteDouble("nnodes", nodes, "%16.0lf"); },
                   [&] { return file.WriteInt64("rootpos", cloud.root_position, "%16li"); },
                   [&] { return file.WriteFloat("largestradius", cloud.largest_radius, "%13e"); },
                   [&] { return file.WriteFloats("padding", padding); });
}

TokenStatus WriteFixedHeader(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    const std::array<float, 3> format = {static_cast<float>(cloud.x_resolution),
                                         static_cast<float>(cloud.y_resolution),
                                         cloud.pixel_aspect};
    const CloudVariables& points = cloud.point_variables;
    const CloudVariables& nodes = cloud.node_variables;
    const auto count = [](const CloudVariables& variables) {
        return static_cast<std::int32_t>(variables.types.size());
    };
    return InOrder([&] { return file.WriteMatrix("world_to_eye\n", cloud.world_to_eye); },
                   [&] { return file.WriteMatrix("world_to_ndc\n", cloud.world_to_ndc); },
                   [&] { return file.WriteThreeFloats("format", format); },
                   [&] { return file.WriteInt("npointvars", count(points)); },
                   [&] { return file.WriteInt("pointdatasize", points.data_size); },
                   [&] { return WriteDeclarations(file, points); },
                   [&] { return file.WriteInt("ntreevars", count(nodes)); },
                   [&] { return file.WriteInt("treedatasize", nodes.data_size); },
                   [&] { return WriteDeclarations(file, nodes); });
}

/// Everything before the first point.
TokenStatus WriteHeader(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    cloud.header_position = file.Tell();
    // The header is rewritten in place: what has no positions cannot hold a point cloud.
    if (cloud.header_position < 0) return TokenStatus::kFailed;

    file.BeginBuffering(0);
    if (Failed(WriteBlock(cloud)) || Failed(file.EndBuffering())) return TokenStatus::kFailed;
    file.BeginBuffering(std::size_t{8192} * static_cast<unsigned>(cloud.point_variables.data_size) +
                        40960);
    if (Failed(WriteFixedHeader(cloud)) || Failed(file.EndBuffering())) return TokenStatus::kFailed;
    cloud.data_start = file.Tell();
    return cloud.data_start < 0 ? TokenStatus::kFailed : TokenStatus::kOk;
}

/// A cloud that is ready to be opened; null when the description is refused.
std::unique_ptr<CloudWriter> Describe(const CloudDescription& description, std::string* why) {
    auto cloud = std::make_unique<CloudWriter>();
    cloud->box_min.fill(1e30f);
    cloud->box_max.fill(-1e30f);
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
                                         std::string* why) {
    auto cloud = Describe(description, why);
    if (!cloud) return nullptr;
    const TokenStatus opened =
        cloud->file.OpenForWriting(std::move(sink), ptc_layout::kFileKind, form);
    return Opened(std::move(cloud), opened, why, nullptr);
}

TokenStatus RewriteHeader(CloudWriter& cloud) {
    TokenFile& file = cloud.file;
    // Composed before the file moves, so that nothing lands in the header but the header.
    TokenFile::Group block(file);
    if (Failed(WriteBlock(cloud)) || Failed(file.Seek(cloud.header_position)) ||
        Failed(block.Put()))
        return TokenStatus::kFailed;
    cloud.counted_points = cloud.point_count;
    return file.SeekToEnd();
}

CloudStatus WriteNode(CloudWriter& cloud, const NodeToWrite& node, const std::int64_t* children,
                      std::int64_t* at) {
    if (!cloud.file.IsOpen() || cloud.has_failed) return CloudStatus::kFailed;
    TokenFile& file = cloud.file;
    TokenFile::Group record(file);
    const auto data_size = static_cast<std::size_t>(cloud.node_variables.data_size);

    unsigned child_mask = 0;
    for (unsigned i = 0; children && i < 8; ++i)
        if (children[i] != 0) child_mask |= 1U << i;

    const auto write_data = [&] {
        if (!node.data || data_size == 0) return TokenStatus::kOk;
        return file.WriteFloats("tdata", std::span(node.data, data_size));
    };
    const auto write_children = [&] {
        for (unsigned i = 0; i < 8; ++i) {
            const char key[] = {'c', static_cast<char>('0' + i), '\0'};
            if ((child_mask >> i & 1U) && Failed(file.WriteInt64(key, children[i])))
                return TokenStatus::kFailed;
        }
        return TokenStatus::kOk;
    };
    const TokenStatus written =
        InOrder([&] { return file.WriteInt("firstpoint", node.first_point); },
                [&] { return file.WriteInt("npoints", node.point_count); },
                [&] { return file.WriteFloats("bbox", node.box); }, write_data,
                [&] { return file.WriteByte("childbits", static_cast<std::uint8_t>(child_mask)); },
                write_children);

    const std::int64_t offset = file.Tell();
    if (Failed(written) || offset < 0 || Failed(record.Put()) || Failed(file.EndBuffering())) {
        cloud.has_failed = true;
        return CloudStatus::kFailed;
    }
    cloud.stored_points = cloud.point_count;
    cloud.root_position = offset;
    ++cloud.node_count;
    *at = offset;
    return CloudStatus::kOk;
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
