// The block of points that wait for the simplifier.

#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "ptc/format/record_code.h"

/// One buffered point. `data` is a row of the buffer that holds the record: row i when the record
/// is stored as record i, and the same row when records change places later.
struct PointRecord {
    PointHead head;
    float* data;
};
static_assert(sizeof(PointRecord) == 40);

/// Records, data rows and removed flags, filled from the start and emptied at once.
///
/// Units      counts in points, rows in floats.
/// Errors     Reserve() throws std::bad_alloc and then leaves everything as it was.
/// Ownership  owns all three arrays; spans are valid until the next Reserve() or Clear().
/// Threads    one caller at a time.
class PointBuffer {
public:
    /// `capacity`: up to this count, the room doubles when it is used up; above it, the room is as
    /// large as Reserve() requests.
    PointBuffer(std::int64_t capacity, std::size_t row_floats)
        : capacity_(capacity), row_floats_(row_floats) {}

    std::int64_t Capacity() const { return capacity_; }
    std::size_t Count() const { return count_; }

    /// Makes room for `count` points in all.
    /// Caller: the records stored since the last Clear() are in the order of their rows.
    void Reserve(std::size_t count);

    /// Stores one point after the others. Caller: has reserved room for it.
    void Add(const PointHead& head, const PointData& data);

    std::span<PointRecord> Records() { return {records_.get(), count_}; }

    /// One byte a record, 1 when the record is merged away; all 0 while the buffer is filled.
    std::span<std::uint8_t> Removed() { return {removed_.get(), count_}; }

    /// Floats of one row.
    std::size_t RowFloats() const { return row_floats_; }

    /// Empties the buffer and keeps its memory.
    void Clear();

private:
    std::int64_t capacity_;
    std::size_t row_floats_;
    std::size_t room_ = 0;
    std::size_t count_ = 0;
    std::unique_ptr<PointRecord[]> records_;
    std::unique_ptr<float[]> rows_;
    std::unique_ptr<std::uint8_t[]> removed_;
};
