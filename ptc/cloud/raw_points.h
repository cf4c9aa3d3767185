// Raw points and nodes: what an open cloud holds, as the bytes of the binary form.
//
// Units      bytes; a point takes ptc_layout::PointBytes() of the cloud's data floats.
// Errors     1 for success, 0 for failure. Prints nothing.
// Ownership  borrows the clouds and the caller's bytes; keeps neither.
// Threads    one caller at a time for one cloud.

#pragma once

#include <cstddef>
#include <span>

#include "ptc/cloud/reader.h"
#include "ptc/cloud/writer.h"
#include "util/base/results.h"

/// Reads the next points from where the file stands, from either form, as records that
/// WritePointRecords() takes. `records`: room for whole records. `*bytes` tells how much was
/// filled in any case, whole records only.
/// Failed: the file ends before, or a record cannot be read.
CloudStatus ReadPointRecords(CloudReader& cloud, std::span<std::byte> records, std::size_t* bytes);

/// Whether the nodes of `from` can follow the points in `to` byte for byte: they are there, in the
/// binary form, and the offsets in them mean the same bytes in `to`.
bool NodesFit(const CloudReader& from, const CloudWriter& to);

/// Copies the nodes of `from`, which is open for reading, behind the points of `to`, which is open
/// for writing. Caller: NodesFit(), and every point of `from` is written to `to`, in its order;
/// no point follows. `from` stands at no particular point afterwards.
CloudStatus CopyNodes(CloudReader& from, CloudWriter& to);
