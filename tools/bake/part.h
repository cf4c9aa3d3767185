// Part: the share of a bake that one of several machines takes.
//
// Units      parts count from 1.
// Errors     none.
// Ownership  a plan holds only numbers.
// Threads    any.
//
// A part is a slice of the plan, so the files of all parts, one after the other, are the file of
// one machine. Every machine cuts the whole plan by itself and comes to the same slices.

#pragma once

#include <cstdint>
#include <vector>

#include "tools/bake/delivery.h"

namespace bake {

inline constexpr std::uint32_t kMostParts = 1'000'000;

/// Part `number` of `count`, 1 <= number <= count.
struct Part {
    std::uint32_t number = 1;
    std::uint32_t count = 1;
};

/// The deliveries of `part`, with kinds that are true within it: a grid that comes again in a later
/// part is not kept for it, and a repeat of an earlier part's grid is shaded again, or left out if
/// `drops_repeats`, as one machine's driver would do.
///
/// The slices are such that the longest part is as short as it can be, to a thousandth; none is
/// empty unless there are more parts than deliveries.
std::vector<Delivery> TakePart(const std::vector<Delivery>& plan, const Part& part,
                               bool drops_repeats);

}  // namespace bake
