// The point cloud reader: opening, points and nodes in sequence.
//
// Units      positions and radii in world space; offsets in bytes from the start of the (inflated)
//            file; point indexes count from 0.
// Errors     1 for success, 0 for failure. Unless a cloud is opened quietly, warnings about a point
//            or a variable type that cannot be read go to standard output, and a compressed
//            organised file is reported as T43050. Throws std::bad_alloc when memory runs out.
// Ownership  the caller owns the cloud, and every array that it hands in or gets.
// Threads    one caller at a time for one cloud; clouds are independent.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "ptc/format/header_grammar.h"
#include "ptc/format/record_code.h"
#include "ptc/format/token_input.h"
#include "util/base/results.h"

/// A cloud that is open for reading.
///
/// Ownership  owns the file.
struct CloudReader : StoredHeader {
    TokenInput input;
    std::string name;                ///< for messages
    bool is_quiet = false;           ///< nothing is printed or reported: the caller does that
    std::vector<std::byte> scratch;  ///< raw records on their way to values
    std::int64_t next_point = 0;     ///< the point that is read next; -1: not known
};

/// Whether a file may hold fewer points and nodes than its header counts.
enum class CountCheck {
    kStrict,  ///< such a file is refused, as far as its size can be known
    kOff,     ///< it is opened: for saving what is there
};

struct OpenOptions {
    CountCheck counts = CountCheck::kStrict;
    bool is_quiet = false;  ///< nothing is printed or reported: the caller does that
    /// For TokenInput::ReadAheadInto(), unless empty.
    std::span<std::byte> room = {};
};

/// Opens `name`, binary or text, plain or gzip, versions 0 to 2, and reads its header; the
/// first point is read next. Null on failure: `*why` is the reason in words, and `*error`, unless
/// null, the errno behind it, or 0 when the reason lies in the file's content.
std::unique_ptr<CloudReader> OpenCloud(const char* name, std::string* why,
                                       const OpenOptions& options = {}, int* error = nullptr);

/// The same from `source`, which is at its start; `name` is for messages.
std::unique_ptr<CloudReader> OpenCloud(std::unique_ptr<ByteSource> source, const char* name,
                                       std::string* why, const OpenOptions& options = {});

/// Reads the header of `cloud`, whose input is just behind the version; afterwards it is at the
/// first point. Null, or why the file is refused. `places`: filled as far as the header can be
/// read. `listener`: hears of every fault and decides which of them end the reading. Without one,
/// the first fault for which a file is refused ends it.
const char* ReadHeader(CloudReader& cloud, CountCheck counts, HeaderPlaces* places,
                       HeaderListener* listener = nullptr);

/// Moves to point `index`, 0 to `cloud.point_count`. In text and gzip files this reads on from
/// the present point, or from the first one to go back.
CloudStatus SeekPoint(CloudReader& cloud, std::int64_t index);

/// Reads the next `heads.size()` points; `data` takes as many times the floats of one point, and
/// may be empty when these are not wanted. Normals come decoded.
/// Failed: the file ends before, or a record cannot be read. `*count`: how many were read, in
/// either case; whole ones only.
CloudStatus ReadPoints(CloudReader& cloud, std::span<PointHead> heads, std::span<float> data,
                       std::size_t* count);

/// Reads the node at `offset`. `data`: as many floats as the node variables take, or empty.
/// `*end`: where the record ends, unless null. Afterwards the next point is not known:
/// call SeekPoint() before reading points.
CloudStatus ReadNode(CloudReader& cloud, std::int64_t offset, NodeRecord* node,
                     std::span<float> data, std::int64_t* end = nullptr);
