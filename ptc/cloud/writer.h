// The point cloud writer: create, write points, write nodes, finish.
//
// Units      positions and radii in world space; offsets in bytes from the file's start.
// Errors     1 for success, 0 for failure; prints nothing but the line about an unknown variable
//            type. Throws std::bad_alloc when memory runs out.
// Ownership  copies every text, matrix and value that it is given.
// Threads    one caller at a time for one cloud; clouds are independent.
//
// What is on disk while a cloud is written: the head and a header at once, the records in pieces
// of 2048 points, the header's counts brought up to date after every 250,000th point and at the
// end. The operating system has every piece as soon as it is written, so a process that dies
// loses at most what it had collected since.
//
// The first write that fails ends the writing: what follows is refused. FinishCloud() then still
// brings the header up to the points that are known to be in the file.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "ptc/format/cloud_header.h"
#include "ptc/format/point_bounds.h"
#include "ptc/format/point_lanes.h"
#include "ptc/format/record_code.h"
#include "ptc/format/token_file.h"
#include "util/base/results.h"

/// `count` variables as two parallel arrays of texts.
struct VariableList {
    int count = 0;
    const char* const* types = nullptr;
    const char* const* names = nullptr;
};

struct CloudDescription {
    const char* file_name = nullptr;
    VariableList point_variables;
    VariableList node_variables;
    const float* world_to_eye = nullptr;  ///< 16 floats; null: identity
    const float* world_to_ndc = nullptr;  ///< 16 floats; null: identity
    float format[3] = {0, 0, 0};          ///< x resolution, y resolution, pixel aspect ratio
};

/// A cloud that is open for writing.
///
/// Ownership  owns the file.
struct CloudWriter : CloudHeader {
    TokenFile file;
    std::int64_t header_position = -1;  ///< the block that is rewritten in place
    std::int64_t stored_points = 0;     ///< handed to the operating system without an error
    std::int64_t counted_points = 0;    ///< those that the header in the file counts
    bool has_failed = false;            ///< a write failed: only the header is written from then on
    const PointLanes* lanes = &BestPointLanes();  ///< all of them write the same bytes
};

/// Samples that lie `stride` bytes apart, at any alignment: a PointHead each, and behind it
/// `data_floats` floats of data that may be read.
struct PointBatch {
    const std::byte* samples;
    std::size_t count;
    std::size_t stride;
    std::size_t data_floats;
    PositionBox* positions = nullptr;  ///< unless null: widened by each sample, refused or not
};

/// One octree node as a caller hands it over.
struct NodeToWrite {
    std::int32_t first_point;
    std::int32_t point_count;
    float box[6];                 ///< minimum x y z, maximum x y z
    const float* data = nullptr;  ///< as many floats as the node variables take, or null
};

/// Creates the file with its head, a provisional header and the declarations, as text when the
/// environment variable LUMR_ASCIIPOINTCLOUD is set and as binary otherwise.
/// Null on failure: `*why` is the reason in words, and `*error`, unless null, the errno behind it,
/// or 0 when the description is refused. A declaration is refused when its list has no
/// array, when there are more than 1000, when it holds a newline or counts fewer than 0 floats, and
/// all together when they count more than 2^24 floats.
std::unique_ptr<CloudWriter> CreateCloud(const CloudDescription& description, std::string* why,
                                         int* error = nullptr);

/// The same into a sink instead of the named file. Takes the form as an argument.
std::unique_ptr<CloudWriter> CreateCloud(const CloudDescription& description,
                                         std::unique_ptr<ByteSink> sink, TokenForm form,
                                         std::string* why, int* error = nullptr);

/// Writes one point. A negative radius is refused: nothing is written or counted.
/// `data`: as many floats as the point variables take; null when they take none.
CloudStatus WritePoint(CloudWriter& cloud, const PointHead& point, const float* data);

/// Writes a batch, byte for byte as if point by point; points that are refused are left out.
/// Failed: a write failed, or at least one point was refused.
CloudStatus WritePoints(CloudWriter& cloud, const PointBatch& batch);

/// The same for points as they are in a binary file, one record behind the other. The normals'
/// codes are written as they are: decoding and encoding again would move some by one.
CloudStatus WritePointRecords(CloudWriter& cloud, std::span<const std::byte> records);

/// Writes one octree node where the file now ends, and makes it the root.
/// Caller: has written the node's children before it; no point follows a node.
/// `children`: eight file offsets, 0 where there is no child, or null for a leaf.
/// `*at`: the node's offset, for its parent; untouched on failure.
CloudStatus WriteNode(CloudWriter& cloud, const NodeToWrite& node, const std::int64_t* children,
                      std::int64_t* at);

/// Writes what is still collected, brings the header up to date and closes the file.
/// Failed: something is not in the file. `cloud.file.Error()` is the system's reason, and the
/// header counts `cloud.stored_points` points.
CloudStatus FinishCloud(CloudWriter& cloud);

/// Rewrites the header's counts, box and largest radius in place, and goes back to the end.
/// Caller: is not buffering.
TokenStatus RewriteHeader(CloudWriter& cloud);
