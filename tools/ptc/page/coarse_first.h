// The order in which fewer points are an even choice of more.
//
// Errors     std::bad_alloc.
// Threads    any.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/ptc/page/tree_cell.h"

namespace page {

/// Calls `visit` once for each number below `count`, in the order of their bits read backwards: the
/// first ones are spread evenly over all, at any time.
template <class Visit>
void VisitSpread(std::size_t count, Visit visit) {
    const int bits = count > 1 ? static_cast<int>(std::bit_width(count - 1)) : 0;
    for (std::size_t step = 0; step < std::size_t{1} << bits; ++step) {
        std::size_t number = 0;
        for (int bit = 0; bit < bits; ++bit) number |= (step >> bit & 1) << (bits - 1 - bit);
        if (number < count) visit(number);
    }
}

/// The place of each point, coarse first. Caller: `points` are in order and differ from each other;
/// there is at least one and at most 2^32 - 1.
std::vector<std::uint32_t> CoarseFirst(std::span<const Candidate> points);

}  // namespace page
