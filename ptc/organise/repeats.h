// Leaving out points that repeat another one: records with the same bytes.
//
// Units      sizes in bytes.
// Errors     throws OrganiseError and std::bad_alloc.
// Ownership  borrows records and files.
// Threads    one caller at a time.
//
// Equal records have equal codes, so only points of one code are compared: each with all before it
// where these are few, and through a table of hashes where they are many.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ptc/organise/batch_sort.h"
#include "ptc/organise/part_file.h"

/// Records that were seen, by their bytes.
class SeenRecords {
public:
    /// `expected`: how many there will be at most, if that is known.
    explicit SeenRecords(std::size_t record_bytes, std::size_t expected = 0)
        : record_bytes_(record_bytes), table_(std::bit_ceil(2 * expected + 64), kEmpty) {}

    /// Whether record `index` is the first of its bytes; it is kept as an index into `records`,
    /// which hold all that were added before.
    bool Add(const std::byte* records, std::uint32_t index);

    std::size_t Count() const { return count_; }

private:
    static constexpr std::uint32_t kEmpty = UINT32_MAX;

    void Grow(const std::byte* records);
    std::size_t Find(const std::byte* records, std::uint32_t index) const;

    const std::size_t record_bytes_;
    std::vector<std::uint32_t> table_;  ///< twice as large as what is in it at least
    std::size_t count_ = 0;
};

/// Of the bytes.
std::uint64_t HashOf(const std::byte* bytes, std::size_t count);

/// Drops repeats from `batch.points`, which are sorted, `finite` of them codes of places. Lowers
/// `batch.count` and returns the new number of finite ones.
std::size_t DropRepeats(BatchRoom& batch, std::size_t finite);

/// Drops repeats from a chain that does not fit memory, whose points have one code. The result is
/// another chain in `file`. `memory`: to be used for it.
PartChain DropRepeats(PartFile& file, PartChain chain, std::size_t memory);
