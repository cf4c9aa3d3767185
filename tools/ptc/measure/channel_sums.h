// ChannelSums: the statistics of one channel, the same on every machine and in any order.
//
// Units      the channel's.
// Errors     none; NaN and infinities are counted and do not go into the sums.
// Ownership  a few KB of its own.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "util/math/exact_sum.h"

namespace measure {

struct ChannelStatistics {
    std::uint64_t finite = 0;
    std::uint64_t nan = 0;
    std::uint64_t infinite = 0;
    std::uint64_t zero = 0;  ///< of the finite ones

    // Of the finite ones; 0 when there is none.
    float least = 0;
    float greatest = 0;
    double mean = 0;
    double deviation = 0;  ///< the standard deviation of these values: divided by their number
};

class ChannelSums {
public:
    void Add(std::span<const float> values);

    /// The mean is the exact sum, and the deviation's square n sum(v v) - sum(v)^2, formed exactly
    /// as well; each is rounded once, and then divided. So nothing cancels but what is equal.
    ChannelStatistics Statistics() const;

private:
    /// So few that their sums are exact in doubles; see AddExactly().
    static constexpr std::size_t kBlock = 256;

    void AddBlock(std::span<const float> values);
    void AddExactly(std::span<const float> values, int exponent);
    void AddOneByOne(std::span<const float> values);

    // As integers that are in the order of the floats.
    std::int32_t least_ = std::numeric_limits<std::int32_t>::max();
    std::int32_t greatest_ = std::numeric_limits<std::int32_t>::min();
    std::uint64_t finite_ = 0;
    std::uint64_t nan_ = 0;
    std::uint64_t infinite_ = 0;
    std::uint64_t zero_ = 0;
    ExactSum sum_;
    ExactSum squares_;
};

}  // namespace measure
