// PlaceOrder: many places in an order in which neighbours follow each other, so that each finds the
// blocks that the one before has used.
//
// Units      none.
// Errors     throws std::bad_alloc.
// Ownership  owns the order; the memory stays for the next one.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "ptc/organise/point_order.h"

class PlaceOrder {
public:
    /// The most places that are ordered at once, which bounds the memory.
    static constexpr std::int64_t kMost = std::int64_t{1} << 18;

    /// The numbers of `count` places, in CodedIndex::index, valid until the next call. Caller:
    /// 0 < `count` <= kMost.
    std::span<const CodedIndex> Of(const float* positions, std::int64_t count);

private:
    std::vector<CodedIndex> codes_;
    std::vector<CodedIndex> scratch_;
};
