// Writing a header.

#include "ptc/format/header_write.h"

#include <algorithm>
#include <array>
#include <bit>

#include "ptc/format/layout.h"

namespace {

/// One list of variables: a count, the floats of all together, and a line for each.
TokenStatus WriteVariables(TokenFile& file, const char* count_key, const char* size_key,
                           const CloudVariables& variables) {
    const auto count = static_cast<std::int32_t>(variables.types.size());
    if (Failed(file.WriteInt(count_key, count)) ||
        Failed(file.WriteInt(size_key, variables.data_size)))
        return TokenStatus::kFailed;
    for (std::size_t i = 0; i < variables.types.size(); ++i) {
        std::string line = variables.types[i] + ' ' + variables.names[i];
        if (line.size() > ptc_layout::kMaxWrittenDeclaration)
            line.resize(ptc_layout::kMaxWrittenDeclaration);
        if (Failed(file.WriteLine(line))) return TokenStatus::kFailed;
    }
    return TokenStatus::kOk;
}

}  // namespace

TokenStatus WriteRewritableBlock(TokenFile& file, const CloudHeader& header) {
    std::array<float, 6> box;
    std::copy(header.box_min.begin(), header.box_min.end(), box.begin());
    std::copy(header.box_max.begin(), header.box_max.end(), box.begin() + 3);
    std::array<float, ptc_layout::kPaddingFloats> padding;
    padding.fill(std::bit_cast<float>(ptc_layout::kPaddingBits));

    const auto points = static_cast<double>(header.point_count);
    const auto nodes = static_cast<double>(header.node_count);
    if (Failed(file.WriteDouble("npoints", points, "%16.0lf")) ||
        Failed(file.WriteFloats("bbox", box)))
        return TokenStatus::kFailed;
    if (header.version >= 1 && (Failed(file.WriteDouble("nnodes", nodes, "%16.0lf")) ||
                                Failed(file.WriteInt64("rootpos", header.root_position, "%16li"))))
        return TokenStatus::kFailed;
    if (header.version >= 2 &&
        (Failed(file.WriteFloat("largestradius", header.largest_radius, "%13e")) ||
         Failed(file.WriteFloats("padding", padding))))
        return TokenStatus::kFailed;
    return TokenStatus::kOk;
}

TokenStatus WriteFixedHeader(TokenFile& file, const CloudHeader& header) {
    const std::array<float, 3> format = {static_cast<float>(header.x_resolution),
                                         static_cast<float>(header.y_resolution),
                                         header.pixel_aspect};
    if (Failed(file.WriteMatrix("world_to_eye\n", header.world_to_eye)) ||
        Failed(file.WriteMatrix("world_to_ndc\n", header.world_to_ndc)) ||
        Failed(file.WriteThreeFloats("format", format)) ||
        Failed(WriteVariables(file, "npointvars", "pointdatasize", header.point_variables)))
        return TokenStatus::kFailed;
    return WriteVariables(file, "ntreevars", "treedatasize", header.node_variables);
}
