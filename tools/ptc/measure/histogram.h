// Histogram: how many of a channel's values lie in each of equal parts of their range.
//
// Units      the channel's.
// Errors     none; NaN and infinities lie in no part.
// Ownership  owns its edges and counts.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/ptc/measure/channel_sums.h"

namespace measure {

class Histogram {
public:
    /// From the least to the greatest value in `bins` parts; one part for equal values, and none
    /// where no value is finite. Caller: what is added is what `statistics` are of.
    Histogram(const ChannelStatistics& statistics, int bins);

    void Add(float value);

    /// One more than there are counts. A bin holds its lower edge and not its upper one; the last
    /// holds both. None without bins.
    const std::vector<double>& Edges() const { return edges_; }
    const std::vector<std::uint64_t>& Counts() const { return counts_; }

private:
    std::vector<double> edges_;
    std::vector<std::uint64_t> counts_;
    double bins_per_unit_ = 0;
};

}  // namespace measure
