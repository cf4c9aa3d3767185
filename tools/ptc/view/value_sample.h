// ValueSample: a bounded, even sample of any number of values, for percentiles.
//
// Units      none.
// Errors     none; Caller: no value is NaN.
// Ownership  owns at most kMostKept values.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/ptc/view/legend.h"

namespace view {

class ValueSample {
public:
    static constexpr std::size_t kMostKept = std::size_t{1} << 16;

    /// Keeps every value at first; each time the room is full, half of those kept go and from then
    /// on half as many stay. No chance is in it: the same values give the same sample.
    void Add(double value);

    bool IsEmpty() const { return kept_.empty(); }

    /// A range that holds all but the outermost hundredth of the values at either end, so that a
    /// few strays do not take the colours from all others. It ends at round numbers. Never empty:
    /// around equal values it reaches half of them to both sides.
    /// Caller: there is a value.
    ValueRange RobustRange();

private:
    std::vector<double> kept_;
    std::uint64_t stride_ = 1;  ///< every stride-th value is kept
    std::uint64_t next_ = 0;    ///< values to pass over before the next that is kept
};

}  // namespace view
