// Recognises grids that were delivered before: the test for equality, and a hash table of cells.

#include "driver/duplicate_grids.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <new>

namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::size_t kFirstHeads = 4096;
constexpr std::size_t kHeadsPerGrid = 4;

// The tolerances of the test for equality.
constexpr float kKeyTolerance = 0.01f;
constexpr float kPositionTolerance = 3e-5f;  // relative to the new value
constexpr float kNormalTolerance = 0.001f;

std::uint32_t KeyBucket(float key) {
    return (std::bit_cast<std::uint32_t>(key) & 0x7FF800U) >> 11;
}

bool IsSamePosition(float value, float stored) {
    return value == stored || std::fabs((value - stored) / value) < kPositionTolerance;
}

bool IsSameSample(const GridSignature::Sample& sample, const GridSignature::Sample& stored) {
    for (int axis = 0; axis < 3; ++axis) {
        if (!IsSamePosition(sample.position[axis], stored.position[axis])) return false;
        if (!(std::fabs(sample.normal[axis] - stored.normal[axis]) < kNormalTolerance))
            return false;
    }
    return true;
}

bool IsSameGrid(const GridSignature& grid, const GridSignature& stored) {
    return grid.count == stored.count && std::fabs(grid.key - stored.key) < kKeyTolerance &&
           KeyBucket(grid.key) == KeyBucket(stored.key) &&
           IsSameSample(grid.samples[0], stored.samples[0]) &&
           IsSameSample(grid.samples[1], stored.samples[1]) &&
           IsSameSample(grid.samples[2], stored.samples[2]);
}

/// The samples that are compared: the first, the one in the middle and the last.
std::array<std::size_t, 3> SampleIndexes(const Batch& grid) {
    return {0, grid.count / 2, grid.count - 1};
}

/// Fetches the samples that are compared, so that their memory is waited for once.
void Prefetch(const Batch& grid) {
    for (const std::size_t index : SampleIndexes(grid)) {
        const std::byte* const sample = grid.samples + index * grid.Stride();
        __builtin_prefetch(sample);
        __builtin_prefetch(sample + sizeof(PointHead) - 1);
    }
}

float KeyOf(const PointHead& first) {
    return (first.position[1] + first.position[2]) + first.position[0];
}

GridSignature Sign(const Batch& grid) {
    GridSignature signature{};
    signature.count = grid.count;
    std::size_t i = 0;
    for (const std::size_t index : SampleIndexes(grid)) {
        const PointHead head = grid.Head(index);
        std::copy_n(head.position, 3, signature.samples[i].position);
        std::copy_n(head.normal, 3, signature.samples[i].normal);
        if (i++ == 0) signature.key = KeyOf(head);
    }
    return signature;
}

/// The number of a float in the order of all floats: neighbours differ by 1, and both zeros have
/// the same number. So a relative tolerance becomes a largest difference of ranks.
std::int32_t Rank(float value) {
    const auto bits = std::bit_cast<std::int32_t>(value);
    return bits < 0 ? static_cast<std::int32_t>(0x80000000U - static_cast<std::uint32_t>(bits))
                    : bits;
}

// The ranks of two positions within the relative tolerance differ by at most 504: floats near a
// value are at least 2^-24 of it apart, and 3e-5 * 2^24 is less than 504. A cell is so much wider
// than the reach that most lookups search one cell an axis, and none more than two.
constexpr std::int32_t kReach = 512;
constexpr int kCellBits = 12;

std::int32_t CellOf(std::int32_t rank) {
    return rank >> kCellBits;
}

using Cell = std::array<std::int32_t, 3>;

std::uint64_t Hash(std::uint64_t count, const Cell& cell) {
    std::uint64_t hash = count;
    for (const std::int32_t axis : cell) {
        hash = (hash ^ static_cast<std::uint32_t>(axis)) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 29;
    }
    return hash;
}

std::uint32_t Tag(std::uint64_t hash) {
    return static_cast<std::uint32_t>(hash >> 32);
}

}  // namespace

bool DuplicateGrids::IsCopy(const Batch& grid) {
    Prefetch(grid);
    const PointHead first = grid.Head(0);
    // The difference of a key that is not finite is never within the tolerance: such a grid equals
    // no other.
    if (!std::isfinite(KeyOf(first))) return false;
    const Cells cells = CellsOf(first, grid.count);
    const GridSignature signature = Sign(grid);
    if (Find(signature, cells)) return true;
    try {
        Remember(signature, cells.hashes[0]);
    } catch (const std::bad_alloc&) {
        // The grid itself is not lost; only a copy of it will not be recognised.
    }
    return false;
}

/// An equal grid's first position is in the same cell, or in the neighbour on the side to which the
/// reach goes beyond the cell: two cells an axis at most.
DuplicateGrids::Cells DuplicateGrids::CellsOf(const PointHead& first, std::uint64_t count) {
    Cell own;
    Cell other;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        // No overflow: the rank of a finite value is far from both ends of 32 bits.
        const std::int32_t rank = Rank(first.position[axis]);
        own[axis] = CellOf(rank);
        other[axis] = CellOf(rank - kReach);
        if (other[axis] == own[axis]) other[axis] = CellOf(rank + kReach);
    }
    Cells cells;
    for (unsigned corner = 0; corner < 8; ++corner) {
        Cell cell;
        bool is_new = true;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const bool is_other = corner >> axis & 1U;
            cell[axis] = is_other ? other[axis] : own[axis];
            if (is_other && other[axis] == own[axis]) is_new = false;
        }
        if (is_new) cells.hashes[cells.count++] = Hash(count, cell);
    }
    return cells;
}

bool DuplicateGrids::Find(const GridSignature& grid, const Cells& cells) const {
    if (heads_.empty()) return false;
    for (std::size_t i = 0; i < cells.count; ++i) {
        const std::uint64_t hash = cells.hashes[i];
        std::uint32_t at = heads_[hash & (heads_.size() - 1)];
        for (; at != kNone; at = links_[at].next)
            if (links_[at].tag == Tag(hash) && IsSameGrid(grid, Signature(at))) return true;
    }
    return false;
}

/// `hash`: that of the grid's own cell. Throws std::bad_alloc, and has remembered nothing then.
void DuplicateGrids::Remember(const GridSignature& grid, std::uint64_t hash) {
    const std::size_t index = links_.size();
    if (index >= kNone) throw std::bad_alloc();
    if (kHeadsPerGrid * index >= heads_.size()) Rehash(std::max(kFirstHeads, 4 * heads_.size()));
    if (index / kChunk == chunks_.size())
        chunks_.push_back(std::unique_ptr<GridSignature[]>(new GridSignature[kChunk]));
    std::uint32_t& head = heads_[hash & (heads_.size() - 1)];
    links_.push_back({Tag(hash), head});
    head = static_cast<std::uint32_t>(index);
    chunks_[index / kChunk][index % kChunk] = grid;
}

void DuplicateGrids::Rehash(std::size_t heads) {
    std::vector<std::uint32_t> larger(heads, kNone);
    for (std::size_t i = 0; i < links_.size(); ++i) {
        const GridSignature& signature = Signature(i);
        const float* const p = signature.samples[0].position;
        const Cell cell = {CellOf(Rank(p[0])), CellOf(Rank(p[1])), CellOf(Rank(p[2]))};
        std::uint32_t& head = larger[Hash(signature.count, cell) & (heads - 1)];
        links_[i].next = head;
        head = static_cast<std::uint32_t>(i);
    }
    heads_ = std::move(larger);
}
