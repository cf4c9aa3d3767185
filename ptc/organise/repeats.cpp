// Finding repeats in memory.

#include "ptc/organise/repeats.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kFew = 8;  // points of one code that are compared one by one

std::uint64_t Mix(std::uint64_t bits) {
    bits = (bits ^ bits >> 32) * 0xD6E8FEB86659FD93;
    bits = (bits ^ bits >> 32) * 0xD6E8FEB86659FD93;
    return bits ^ bits >> 32;
}

}  // namespace

std::uint64_t HashOf(const std::byte* bytes, std::size_t count) {
    std::uint64_t hash = count;
    for (; count >= sizeof hash; count -= sizeof hash, bytes += sizeof hash) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        hash = Mix(hash ^ word) + 0x9E3779B97F4A7C15;
    }
    std::uint64_t last = 0;
    if (count > 0) std::memcpy(&last, bytes, count);
    return Mix(hash ^ last);
}

/// Where the record's bytes are in the table, or the free place for them.
std::size_t SeenRecords::Find(const std::byte* records, std::uint32_t index) const {
    const std::byte* const record = records + index * record_bytes_;
    const std::size_t mask = table_.size() - 1;
    for (std::size_t at = HashOf(record, record_bytes_) & mask;; at = (at + 1) & mask)
        if (table_[at] == kEmpty ||
            std::memcmp(records + table_[at] * record_bytes_, record, record_bytes_) == 0)
            return at;
}

void SeenRecords::Grow(const std::byte* records) {
    const std::vector<std::uint32_t> before = std::move(table_);
    table_.assign(2 * before.size(), kEmpty);
    for (const std::uint32_t index : before)
        if (index != kEmpty) table_[Find(records, index)] = index;
}

bool SeenRecords::Add(const std::byte* records, std::uint32_t index) {
    if (2 * (count_ + 1) > table_.size()) Grow(records);
    std::uint32_t& place = table_[Find(records, index)];
    if (place != kEmpty) return false;
    place = index;
    ++count_;
    return true;
}

namespace {

/// Moves the first of each bytes among the points `begin` to `end`, which have one code, to `kept`
/// and behind it. Returns where the next one goes.
std::size_t KeepFirstOnes(const BatchRoom& batch, std::size_t begin, std::size_t end,
                          std::size_t kept) {
    CodedIndex* const points = batch.points;
    const std::size_t first = kept;
    if (end - begin > kFew) {
        SeenRecords seen(batch.record_bytes, end - begin);
        for (std::size_t i = begin; i < end; ++i)
            if (seen.Add(batch.records, points[i].index)) points[kept++] = points[i];
        return kept;
    }
    for (std::size_t i = begin; i < end; ++i) {
        const std::byte* const record = batch.Record(points[i].index);
        const bool is_repeat =
            std::any_of(points + first, points + kept, [&](const CodedIndex& before) {
                return std::memcmp(batch.Record(before.index), record, batch.record_bytes) == 0;
            });
        if (!is_repeat) points[kept++] = points[i];
    }
    return kept;
}

}  // namespace

std::size_t DropRepeats(BatchRoom& batch, std::size_t finite) {
    const CodedIndex* const points = batch.points;
    std::size_t kept = 0;
    std::size_t kept_finite = 0;
    for (std::size_t begin = 0; begin < batch.count;) {
        std::size_t end = begin + 1;
        while (end < batch.count && points[end].code == points[begin].code) ++end;
        kept = KeepFirstOnes(batch, begin, end, kept);
        if (begin < finite) kept_finite = kept;
        begin = end;
    }
    batch.count = kept;
    return kept_finite;
}
