// What a file says of itself, copied out for the caller.

#include "ptc/access/header.h"

#include <algorithm>
#include <span>

#include "ptc/access/last_failure.h"
#include "ptc/cloud/header_query.h"
#include "ptc/files/managed_file.h"
#include "ptc/format/variables.h"

namespace {

/// The file's header; null, and the failure is stored, when there is none.
const CloudHeader* HeaderOf(const PtcManagedFile* file) {
    const CloudHeader* const header = file ? file->Header() : nullptr;
    if (header) return header;
    if (!file) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no file");
    } else if (file->HasOutlivedManager()) {
        SetFailure(PtcFailureCode::kShutDown, file->Name(), "was closed by the shut-down");
    } else {
        SetFailure(PtcFailureCode::kBadArgument, file->Name(), "is not open");
    }
    return nullptr;
}

bool Find(const PtcManagedFile* file, const CloudVariables CloudHeader::*variables,
          std::span<const char* const> names, std::int32_t* offsets, std::int32_t* sizes) {
    const CloudHeader* const header = HeaderOf(file);
    if (!header) return false;
    if (!names.empty() && (!names.data() || !offsets || !sizes)) {
        SetFailure(PtcFailureCode::kBadArgument, file->Name(),
                   "no names or no place for the answer");
        return false;
    }
    if (!file->IsReading()) {
        SetFailure(PtcFailureCode::kBadArgument, file->Name(), "is not open for reading");
        return false;
    }
    FindVariables(header->*variables, names, offsets, sizes);
    return true;
}

std::span<const char* const> Names(int count, const char* const* names) {
    return {names, static_cast<std::size_t>(std::max(count, 0))};
}

}  // namespace

void CopyHeader(const CloudHeader& from, PtcHeader* to) noexcept {
    to->points = from.point_count;
    to->nodes = from.node_count;
    std::copy_n(from.box_min.begin(), 3, to->box);
    std::copy_n(from.box_max.begin(), 3, to->box + 3);
    to->largest_radius = from.largest_radius;
    std::copy_n(from.world_to_eye.begin(), 16, to->world_to_eye);
    std::copy_n(from.world_to_ndc.begin(), 16, to->world_to_ndc);
    to->format[0] = static_cast<float>(from.x_resolution);
    to->format[1] = static_cast<float>(from.y_resolution);
    to->format[2] = from.pixel_aspect;
    to->floats_per_point = from.point_variables.data_size;
    to->floats_per_node = from.node_variables.data_size;
}

void CopyVariables(const CloudHeader& from, PtcVariables* of_points, PtcVariables* of_nodes) {
    const auto copy = [](const CloudVariables& variables, PtcVariables* to) {
        if (to) *to = {variables.types, variables.names, variables.sizes};
    };
    copy(from.point_variables, of_points);
    copy(from.node_variables, of_nodes);
}

bool PtcGetHeader(const PtcManagedFile* file, PtcHeader* header) noexcept {
    const CloudHeader* const from = HeaderOf(file);
    if (!from) return false;
    if (!header) {
        SetFailure(PtcFailureCode::kBadArgument, file->Name(), "no place for the answer");
        return false;
    }
    CopyHeader(*from, header);
    return true;
}

bool PtcGetHeaderValue(const PtcManagedFile* file, const char* request, void* out) noexcept {
    const CloudHeader* const header = HeaderOf(file);
    if (!header) return false;
    if (request && out && !Failed(GetHeaderValue(*header, request, out))) return true;
    SetFailure(PtcFailureCode::kBadArgument, file->Name(), "no such request, or no memory for it");
    return false;
}

bool PtcGetVariables(const PtcManagedFile* file, PtcVariables* of_points,
                     PtcVariables* of_nodes) noexcept {
    const CloudHeader* const header = HeaderOf(file);
    if (!header) return false;
    return CatchNoMemory(file->Name(), false, [&] {
        CopyVariables(*header, of_points, of_nodes);
        return true;
    });
}

std::int32_t PtcFloatsOfType(const char* type) noexcept {
    return type ? KnownComponentCount(type).value_or(0) : 0;
}

bool PtcFindVariables(const PtcManagedFile* file, int count, const char* const* names,
                      std::int32_t* offsets, std::int32_t* sizes) noexcept {
    return Find(file, &CloudHeader::point_variables, Names(count, names), offsets, sizes);
}

bool PtcFindNodeVariables(const PtcManagedFile* file, int count, const char* const* names,
                          std::int32_t* offsets, std::int32_t* sizes) noexcept {
    return Find(file, &CloudHeader::node_variables, Names(count, names), offsets, sizes);
}
