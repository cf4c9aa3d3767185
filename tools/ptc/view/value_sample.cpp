// ValueSample: thinning and percentiles.

#include "tools/ptc/view/value_sample.h"

#include <algorithm>
#include <cmath>

namespace view {

namespace {

/// The least of 1, 2, 5, 10, 20, 50 ... and of the tenths, hundredths ... that `least` is below.
double RoundStep(double least) {
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double step : {1.0, 2.0, 5.0})
        if (least <= step * power) return step * power;
    return 10 * power;
}

/// The range made a little larger, so that its ends are numbers that one can read.
ValueRange RoundedOut(const ValueRange& range) {
    constexpr double kParts = 20;  // so that it grows by a tenth of its length at most
    const double step = RoundStep((range.high - range.low) / kParts);
    const ValueRange round = {std::floor(range.low / step) * step,
                              std::ceil(range.high / step) * step};
    // Values that differ by less than their own last digits have no round numbers between them.
    return std::isfinite(round.low) && std::isfinite(round.high) && round.low < round.high ? round
                                                                                           : range;
}

}  // namespace

void ValueSample::Add(double value) {
    if (next_ > 0) {
        --next_;
        return;
    }
    // Every other value is kept, so that the sample stays evenly spread.
    if (kept_.size() == kMostKept) {
        for (std::size_t i = 0; i < kMostKept / 2; ++i) kept_[i] = kept_[2 * i];
        kept_.resize(kMostKept / 2);
        stride_ *= 2;
    }
    kept_.push_back(value);
    next_ = stride_ - 1;
}

ValueRange ValueSample::RobustRange() {
    std::sort(kept_.begin(), kept_.end());
    // Of fewer than a hundred values none is a stray.
    const std::size_t cut = kept_.size() / 100;
    ValueRange range = {kept_[cut], kept_[kept_.size() - 1 - cut]};
    // Strays may be all that differs: a range of them says more than none.
    if (range.low == range.high) range = {kept_.front(), kept_.back()};
    if (range.low == range.high) {
        const double reach = range.low == 0 ? 0.5 : std::fabs(range.low) / 2;
        range = {range.low - reach, range.high + reach};
    }
    return RoundedOut(range);
}

}  // namespace view
