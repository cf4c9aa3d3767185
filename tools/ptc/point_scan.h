// PointScan: the point records of an open cloud as they are stored, each with its place.
//
// Units      offsets in bytes from the file's start; of the inflated bytes, for a gzip file.
// Errors     the first record that is not whole ends the scan, silently, and so does one that the
//            system cannot read: the cloud's input keeps the error (tools/ptc/read_error.h).
// Ownership  borrows the cloud, whose place in the file changes.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ptc/cloud/reader.h"

class PointScan {
public:
    // The places of a point's values among its floats.
    static constexpr std::size_t kPosition = 0;
    static constexpr std::size_t kCodes = 3;
    static constexpr std::size_t kRadius = 4;
    static constexpr std::size_t kData = 5;

    /// Scans the records of `cloud` from `first` up to `last`, which is not read.
    PointScan(CloudReader& cloud, std::int64_t first, std::int64_t last);

    /// Moves to the next record. False: the last is taken, or no whole one follows.
    bool Next();

    /// The record's floats; the one at kCodes is not a float but the normal's two codes side by
    /// side.
    std::span<const float> Values() const { return values_; }

    /// The record's normal.
    void DecodeNormal(float* normal) const;

    /// The place of float `index` of the record; in text form the start of the record's line.
    std::int64_t Place(std::size_t index) const;

    /// How many whole records there are up to here, including those before `first`.
    std::int64_t Count() const { return count_; }
    std::int64_t End() const { return end_; }  ///< the first byte behind them

    /// How many bytes follow the whole records, up to the file's end. Ends the scan.
    std::int64_t BytesBehind();

private:
    bool GoTo(std::int64_t first);
    bool NextBinary();
    bool NextText();

    CloudReader& cloud_;
    const std::int64_t last_;
    bool is_at_end_ = false;
    std::int64_t count_ = 0;
    std::int64_t begin_ = 0;  ///< of the record
    std::int64_t end_ = 0;
    std::vector<float> values_;

    // Binary only: records that are read and not taken yet.
    std::vector<std::byte> piece_;
    std::size_t next_ = 0;
    std::size_t there_ = 0;
};
