// Sorting a node's items into octants: their extent, the octant of each, the partition.
//
// The sort moves items: records, or keys of records. `Items` has Count(), Key(i), which is the
// position and the radius of item i, and Swap(i, k).
//
// Threads    any, for different items.

#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "driver/lanes.h"

namespace octant_sort {

/// Lowest and highest positions. Lane 3 of `high` is the largest radius. A NaN never widens it.
struct Extent {
    lanes::Floats low = lanes::All(1e30f);
    lanes::Floats high = {-1e30f, -1e30f, -1e30f, 0};

    void Include(lanes::Floats key) {
        low = lanes::Smaller(key, low);
        high = lanes::Larger(key, high);
    }
    void Include(const Extent& other) {
        low = lanes::Smaller(other.low, low);
        high = lanes::Larger(other.high, high);
    }
};

template <class Items>
Extent ExtentOf(const Items& items) {
    // Two at a time, because each is a chain of operations that wait for each other.
    Extent even;
    Extent odd;
    const std::size_t count = items.Count();
    std::size_t i = 0;
    for (; i + 1 < count; i += 2) {
        even.Include(items.Key(i));
        odd.Include(items.Key(i + 1));
    }
    if (i < count) even.Include(items.Key(i));
    even.Include(odd);
    return even;
}

/// A comparison with a NaN is false, so a NaN counts to the lower half of its axis.
inline std::uint8_t Octant(lanes::Floats center, lanes::Floats key) {
    return static_cast<std::uint8_t>(lanes::Mask(center <= key) & 7U);
}

using Counts = std::array<std::size_t, 8>;

/// Stores each item's octant in `octants` and counts them.
template <class Items>
Counts Classify(const Items& items, lanes::Floats center, std::uint8_t* octants) {
    constexpr std::size_t kMostInByte = 255;
    Counts counts{};
    const std::size_t count = items.Count();
    for (std::size_t begin = 0; begin < count; begin += kMostInByte) {
        const std::size_t end = count - begin < kMostInByte ? count : begin + kMostInByte;
        std::uint64_t bytes = 0;  // one counter for each octant
        for (std::size_t i = begin; i < end; ++i) {
            const std::uint8_t octant = Octant(center, items.Key(i));
            octants[i] = octant;
            bytes += std::uint64_t{1} << (8 * octant);
        }
        for (std::size_t octant = 0; octant < 8; ++octant)
            counts[octant] += bytes >> (8 * octant) & 0xFFU;
    }
    return counts;
}

/// Bytes before and after the octants that Partition() may read.
constexpr std::size_t kPadding = 64;

/// Bit i: octant i of 64 is `octant`. So many at once, because each run of bits costs a jump that
/// the processor does not foresee.
inline std::uint64_t EqualMask(const std::uint8_t* octants, std::uint8_t octant) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < 64; i += 16)
        mask |= std::uint64_t{lanes::EqualMask(octants + i, octant)} << i;
    return mask;
}

/// The items of one octant, from the last one on to the front.
class FromBehind {
public:
    FromBehind(const std::uint8_t* octants, std::size_t count, std::uint8_t octant)
        : octants_(octants), octant_(octant), begin_(count) {}

    /// Caller: there is one more.
    std::size_t Next() {
        while (!mask_) {
            begin_ -= kStep;
            mask_ = EqualMask(octants_ + begin_, octant_);
        }
        const auto top = static_cast<unsigned>(std::bit_width(mask_)) - 1;
        mask_ ^= std::uint64_t{1} << top;
        return begin_ + top;
    }

    static constexpr std::size_t kStep = 64;

private:
    const std::uint8_t* octants_;
    std::uint8_t octant_;
    std::size_t begin_;  // of the items that the mask is about
    std::uint64_t mask_ =
        0;  // bit i: item i from there on is the octant's, and has not been answered
};

/// Sorts the items into octants in place, and `octants` with them.
///
/// KEPT: for each octant in turn, two markers swap items from both ends: the first item of another
/// octant in the octant's range with the last item of the octant behind it, and so on. The order
/// that this gives the items decides which points merge, so another way of sorting would change the
/// results.
/// Test: DriverSimplify.AgreesWithThePlainAlgorithm
template <class Items>
void Partition(Items& items, const Counts& counts, std::uint8_t* octants) {
    constexpr std::size_t kStep = FromBehind::kStep;
    const std::size_t count = items.Count();
    std::size_t first = 0;
    for (std::uint8_t octant = 0; octant < 7; ++octant) {
        const std::size_t end = first + counts[octant];
        if (end == first) continue;
        if (end == count) return;
        FromBehind behind(octants, count, octant);
        for (std::size_t low = first; low < end; low += kStep) {
            std::uint64_t mask = ~EqualMask(octants + low, octant);
            if (end - low < kStep) mask &= (std::uint64_t{1} << (end - low)) - 1;
            for (; mask; mask &= mask - 1) {
                const std::size_t here = low + static_cast<unsigned>(std::countr_zero(mask));
                // There are as many items of this octant behind its range as others within it.
                const std::size_t there = behind.Next();
                octants[there] = octants[here];
                octants[here] = octant;
                items.Swap(here, there);
            }
        }
        first = end;
    }
}

}  // namespace octant_sort
