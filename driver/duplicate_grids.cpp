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

GridSignature Sign(const Batch& grid) {
    GridSignature signature{};
    signature.count = grid.count;
    const std::size_t indexes[] = {0, grid.count / 2, grid.count - 1};
    for (std::size_t i = 0; i < 3; ++i) {
        const PointHead head = grid.Head(indexes[i]);
        std::copy_n(head.position, 3, signature.samples[i].position);
        std::copy_n(head.normal, 3, signature.samples[i].normal);
    }
    const float* const first = signature.samples[0].position;
    signature.key = (first[1] + first[2]) + first[0];
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

Cell CellOf(const GridSignature& grid) {
    const float* const position = grid.samples[0].position;
    return {CellOf(Rank(position[0])), CellOf(Rank(position[1])), CellOf(Rank(position[2]))};
}

}  // namespace

bool DuplicateGrids::IsCopy(const Batch& grid) {
    const GridSignature signature = Sign(grid);
    // The difference of a key that is not finite is never within the tolerance: such a grid equals
    // no other.
    if (!std::isfinite(signature.key)) return false;
    if (Find(signature)) return true;
    try {
        Remember(signature);
    } catch (const std::bad_alloc&) {
        // The grid itself is not lost; only a copy of it will not be recognised.
    }
    return false;
}

/// Searches every cell that an equal grid's first position can be in: up to two an axis, so up to
/// eight. A corner whose upper cell equals the lower one on some axis is one already searched.
bool DuplicateGrids::Find(const GridSignature& grid) const {
    if (heads_.empty()) return false;
    Cell low;
    Cell high;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        // No overflow: the rank of a finite value is far from both ends of 32 bits.
        const std::int32_t rank = Rank(grid.samples[0].position[axis]);
        low[axis] = CellOf(rank - kReach);
        high[axis] = CellOf(rank + kReach);
    }
    for (unsigned corner = 0; corner < 8; ++corner) {
        Cell cell;
        bool is_new = true;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const bool upper = corner >> axis & 1U;
            cell[axis] = upper ? high[axis] : low[axis];
            if (upper && high[axis] == low[axis]) is_new = false;
        }
        if (!is_new) continue;
        std::uint32_t at = heads_[Hash(grid.count, cell) & (heads_.size() - 1)];
        for (; at != kNone; at = signatures_[at].next)
            if (IsSameGrid(grid, signatures_[at])) return true;
    }
    return false;
}

void DuplicateGrids::Remember(const GridSignature& grid) {
    if (signatures_.size() >= kNone) throw std::bad_alloc();
    if (signatures_.size() >= heads_.size()) Rehash(std::max(kFirstHeads, 2 * heads_.size()));
    signatures_.push_back(grid);
    std::uint32_t& head = heads_[Hash(grid.count, CellOf(grid)) & (heads_.size() - 1)];
    signatures_.back().next = head;
    head = static_cast<std::uint32_t>(signatures_.size() - 1);
}

void DuplicateGrids::Rehash(std::size_t heads) {
    std::vector<std::uint32_t> larger(heads, kNone);
    for (std::size_t i = 0; i < signatures_.size(); ++i) {
        GridSignature& signature = signatures_[i];
        std::uint32_t& head = larger[Hash(signature.count, CellOf(signature)) & (heads - 1)];
        signature.next = head;
        head = static_cast<std::uint32_t>(i);
    }
    heads_ = std::move(larger);
}
