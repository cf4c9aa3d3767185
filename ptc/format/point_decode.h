// Point records of the binary form decoded many at a time.
//
// Units      counts in points; a record is ptc_layout::PointBytes(floats) bytes.
// Errors     none: every record has values.
// Ownership  borrows the records and the caller's arrays.
// Threads    any.
//
// Four points are decoded at once. Every value has the bits that DecodePoint() gives it: the lanes
// do its operations in its order, and division and square root are rounded correctly everywhere.
// A point then takes 0.44 of the instructions that it takes alone, bench/rows/reading.cpp.

#pragma once

#include <cstddef>

#include "ptc/format/record_code.h"
#include "ptc/records.h"

/// `count` records in a row, each with `floats` floats of data.
struct PointRecords {
    const std::byte* bytes;
    std::size_t count;
    std::size_t floats;
};

/// Decodes all of `from` into `heads`. `data` takes the floats of all points one behind the other;
/// null: they are not wanted.
void DecodePoints(const PointRecords& from, PointHead* heads, float* data);

/// Decodes all of `from` into `records`, each of which has room for its floats at its `data`.
void DecodePoints(const PointRecords& from, PtcPoint* records);
