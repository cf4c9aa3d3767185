// Finding and reading blocks of text points.

#include "ptc/cloud/text_points.h"

#include <algorithm>
#include <memory>

#include "ptc/format/token_records.h"

namespace {

constexpr std::int64_t kBlock = 256;  // points between two places that are known

}  // namespace

void TextPoints::Begin(RandomSource& source, std::int64_t offset, std::size_t floats) {
    source_ = &source;
    floats_ = floats;
    TgMutexGuard hold(lock_);
    begins_.assign(1, offset);
    is_last_ = false;
}

CloudStatus TextPoints::Read(std::int64_t first, std::int64_t count, PtcPoint* records) {
    for (std::int64_t done = 0; done < count;) {
        const std::int64_t block = (first + done) / kBlock;
        const std::int64_t from = (first + done) % kBlock;
        const std::int64_t until = std::min(kBlock, from + count - done);
        const std::int64_t begin = Find(block);
        if (begin < 0) return CloudStatus::kFailed;
        const Stretch stretch = ReadBlock(begin, from, until, records + done);
        if (stretch.points < until) return CloudStatus::kFailed;
        if (until == kBlock) Learn(block + 1, stretch.end);
        done += until - from;
    }
    return CloudStatus::kOk;
}

/// Where `block` begins; -1: out of reach.
std::int64_t TextPoints::Find(std::int64_t block) {
    for (;;) {
        // Taken anew for every block that is read over, so that others get in between.
        TgMutexGuard hold(lock_);
        if (block < static_cast<std::int64_t>(begins_.size()))
            return begins_[static_cast<std::size_t>(block)];
        if (is_last_) return -1;
        const Stretch stretch = ReadBlock(begins_.back(), kBlock, kBlock, nullptr);
        if (stretch.points < kBlock) {
            is_last_ = !stretch.is_unreadable;
            return -1;
        }
        begins_.push_back(stretch.end);
    }
}

void TextPoints::Learn(std::int64_t block, std::int64_t begin) {
    TgMutexGuard hold(lock_);
    if (block == static_cast<std::int64_t>(begins_.size())) begins_.push_back(begin);
}

/// Reads the block that begins at `begin` up to its point `until`; `records` takes those from
/// `from` on.
TextPoints::Stretch TextPoints::ReadBlock(std::int64_t begin, std::int64_t from, std::int64_t until,
                                          PtcPoint* records) const {
    TokenInput input;
    input.ResumeText(std::make_unique<RandomSourceReader>(*source_, begin));
    std::vector<float> skipped(floats_);
    std::int64_t i = 0;
    for (; i < until; ++i) {
        const bool is_wanted = i >= from;
        PointHead head;
        const auto data = is_wanted ? std::span(records[i - from].data, floats_) : skipped;
        if (Failed(ReadTextPoint(input, &head, data))) break;
        if (is_wanted) StoreHead(head, &records[i - from]);
    }
    return {i, begin + input.Tell(), input.Error() != 0};
}
