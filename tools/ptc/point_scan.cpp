// PointScan: raw records in pieces, text records line by line.

#include "tools/ptc/point_scan.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "ptc/format/layout.h"
#include "ptc/format/normal_decode.h"
#include "ptc/format/token_records.h"

namespace {

/// Raw records are read in pieces of about this many bytes.
constexpr std::size_t kScanBytes = std::size_t{1} << 16;

}  // namespace

static_assert(sizeof(float) * PointScan::kData == ptc_layout::kPointHeadBytes);
static_assert(sizeof(float) * PointScan::kRadius ==
              ptc_layout::Find(ptc_layout::kPoint, "radius").offset);

PointScan::PointScan(CloudReader& cloud, std::int64_t first, std::int64_t last)
    : cloud_(cloud),
      last_(last),
      begin_(cloud.data_start),
      end_(cloud.data_start),
      values_(kData + cloud.point_variables.DataFloats()) {
    cloud_.next_point = -1;  // the reader's own place is lost
    if (!cloud_.input.IsText()) {
        const std::size_t record = 4 * values_.size();
        const auto wanted = static_cast<std::uint64_t>(std::max<std::int64_t>(last - first, 1));
        const std::size_t most = std::max<std::size_t>(kScanBytes / record, 1);
        piece_.resize(std::min<std::uint64_t>(wanted, most) * record);
    }
    // Where the file cannot go to its first point, it ends at once.
    if (!GoTo(first)) is_at_end_ = true;
}

/// Text has to be read up to the record; binary records are where arithmetic says.
bool PointScan::GoTo(std::int64_t first) {
    if (cloud_.input.IsText()) {
        if (Failed(cloud_.input.Seek(cloud_.data_start))) return false;
        while (count_ < first)
            if (!Next()) return false;
        return true;
    }
    const auto record = static_cast<std::int64_t>(4 * values_.size());
    // The index may come from a header that counts anything.
    if (first > (std::numeric_limits<std::int64_t>::max() - end_) / record) return false;
    count_ = first;
    end_ += first * record;
    return !Failed(cloud_.input.Seek(end_));
}

bool PointScan::Next() {
    if (count_ >= last_ || is_at_end_) return false;
    begin_ = end_;
    is_at_end_ = !(cloud_.input.IsText() ? NextText() : NextBinary());
    if (is_at_end_) return false;
    ++count_;
    return true;
}

bool PointScan::NextBinary() {
    const std::size_t record = 4 * values_.size();
    if (there_ - next_ < record) {
        // A piece holds whole records only, so a part of one is the cut end of the file.
        if (next_ != there_) return false;
        const auto left = static_cast<std::uint64_t>(last_ - count_);
        const std::size_t records = std::min<std::uint64_t>(piece_.size() / record, left);
        next_ = 0;
        there_ = cloud_.input.ReadUpTo(std::span(piece_).first(records * record));
        if (there_ < record) return false;
    }
    std::memcpy(values_.data(), &piece_[next_], record);
    next_ += record;
    end_ += static_cast<std::int64_t>(record);
    return true;
}

/// Does not use the reader's own functions, which warn about a record that they cannot read: here
/// it is the ordinary end of a damaged file.
bool PointScan::NextText() {
    TokenInput& input = cloud_.input;
    CodedPoint point;
    if (Failed(ReadTextPoint(input, &point, std::span(values_).subspan(kData)))) return false;
    std::memcpy(values_.data(), &point, sizeof point);
    end_ = input.Tell();
    return true;
}

void PointScan::DecodeNormal(float* normal) const {
    NormalCode code;
    std::memcpy(&code, &values_[kCodes], sizeof code);
    Normals().Decode(code, normal);
}

std::int64_t PointScan::Place(std::size_t index) const {
    return cloud_.input.IsText() ? begin_ : begin_ + static_cast<std::int64_t>(4 * index);
}

std::int64_t PointScan::BytesBehind() {
    TokenInput& input = cloud_.input;
    if (!input.IsCompressed() && input.StoredBytes() >= 0)
        return std::max<std::int64_t>(0, input.StoredBytes() - end_);
    // The length of an inflated stream, or of a pipe, shows only at its end.
    std::array<std::byte, 1 << 13> rest;
    while (input.ReadUpTo(rest) == rest.size()) {
    }
    return input.Tell() - end_;
}
