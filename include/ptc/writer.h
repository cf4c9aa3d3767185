// Writing a point cloud file: points, then octree nodes, then finishing.
//
//   PtcCloudWriter* cloud = PtcCreateCloud({.name = "a.ptc", ...});
//   PtcWritePoint(cloud, position, normal, radius, data);   // any number of times
//   PtcWriteNode(cloud, node, nullptr, &reference);         // children before parents, root last
//   PtcFinishCloud(cloud);
//
// Units      positions, normals, radii and boxes in world space; matrices row-major, for row
//            vectors; references are offsets in bytes from the file's start.
// Errors     null or false for failure, and PtcLastFailure() (ptc/failure.h) says why. After a
//            failed write the writer refuses everything but finishing. Nothing is thrown.
// Ownership  the caller owns the writer until PtcFinishCloud() or PtcAbandonCloud(); arrays and
//            texts are the caller's and are not kept.
// Threads    one caller at a time for one writer; writers are independent.
//
// The bytes are collected beside the file's name and take the name when the cloud is finished: a
// reader finds the older file or the whole new one. What is no regular file, such as a device, is
// written directly.

#pragma once

#include <cstdint>

#include "ptc/api.h"
#include "ptc/failure.h"
#include "ptc/records.h"

class PtcCloudWriter;

/// `count` variables: their types, such as "float", "color" or "float[4]", and their names.
struct PtcVariableList {
    int count = 0;
    const char* const* types = nullptr;
    const char* const* names = nullptr;
};

struct PtcCloudDescription {
    const char* name = nullptr;  ///< of the file; the zones are applied to it (ptc/runtime.h)
    PtcVariableList point_variables = {};
    PtcVariableList node_variables = {};
    const float* world_to_eye = nullptr;  ///< 16 floats; null: identity
    const float* world_to_ndc = nullptr;  ///< 16 floats; null: identity
    float format[3] = {640, 480, 1};      ///< x resolution, y resolution, pixel aspect ratio
};

/// Begins a new file: binary, or text when the environment variable LUMR_ASCIIPOINTCLOUD is set.
/// Refuses more than 1000 variables, types that count fewer than 0 floats, declarations that hold a
/// newline, and more than 2^24 floats for a point or a node.
PTC_API PtcCloudWriter* PtcCreateCloud(const PtcCloudDescription& description) noexcept;

/// Writes one point. `data`: as many floats as the point variables take; null: zeros.
/// False, with nothing written: the radius is negative, or nodes were written already.
PTC_API bool PtcWritePoint(PtcCloudWriter* cloud, const float* position, const float* normal,
                           float radius, const float* data) noexcept;

/// Points as arrays, one value behind the other.
struct PtcPointsToWrite {
    std::int64_t count = 0;
    const float* positions = nullptr;  ///< 3 floats a point
    const float* normals = nullptr;    ///< 3 floats a point
    const float* radii = nullptr;      ///< null: zeros
    const float* data = nullptr;  ///< as many floats a point as the variables take; null: zeros
};

/// Writes many points, byte for byte as if one by one.
/// False, with none of them written: a radius is negative, or nodes were written already.
PTC_API bool PtcWritePoints(PtcCloudWriter* cloud, const PtcPointsToWrite& points) noexcept;

/// The same for `count` records of the binary form, as PtcReader::ReadRecords() has them. The codes
/// of the normals are written as they are: decoding and encoding would move some of them.
PTC_API bool PtcWriteRecords(PtcCloudWriter* cloud, std::int64_t count,
                             const void* records) noexcept;

/// One octree node. It covers `point_count` points that follow each other in the file.
struct PtcNewNode {
    std::int32_t first_point = 0;
    std::int32_t point_count = 0;
    float box[6] = {};            ///< minimum x y z, maximum x y z
    const float* data = nullptr;  ///< as many floats as the node variables take; null: zeros
};

/// Writes one node after the points and makes it the root. `children`: the references of its
/// children, all written before, and 0 where there is none; null for a leaf. `*reference`: the
/// node's own, for its parent; untouched on failure.
/// Readers expect the children of one node one behind the other, in the order of their octants.
PTC_API bool PtcWriteNode(PtcCloudWriter* cloud, const PtcNewNode& node,
                          const std::int64_t (*children)[kNodeChildren],
                          std::int64_t* reference) noexcept;

/// Completes the file, gives it its name and ends the writer. False: the cloud is not whole, and a
/// file that had the name before still has it.
PTC_API bool PtcFinishCloud(PtcCloudWriter* cloud) noexcept;

/// Ends the writer; nothing of what was written stays. Null is ignored.
PTC_API void PtcAbandonCloud(PtcCloudWriter* cloud) noexcept;
