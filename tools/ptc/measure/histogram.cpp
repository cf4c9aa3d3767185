// Histogram: edges, and the bin of a value.

#include "tools/ptc/measure/histogram.h"

#include <algorithm>
#include <cmath>

namespace measure {

Histogram::Histogram(const ChannelStatistics& statistics, int bins) {
    if (statistics.finite == 0) return;
    const double low = statistics.least, length = statistics.greatest - low;
    const int count = length > 0 ? bins : 1;
    for (int i = 0; i < count; ++i) edges_.push_back(low + length * i / count);
    edges_.push_back(statistics.greatest);
    counts_.resize(static_cast<std::size_t>(count));
    if (length > 0) bins_per_unit_ = count / length;
}

void Histogram::Add(float value) {
    if (!std::isfinite(value) || counts_.empty()) return;
    const std::size_t last = counts_.size() - 1;
    // A file that was replaced between two readings has values outside the range: at its ends.
    const double place = std::max(0.0, (value - edges_.front()) * bins_per_unit_);
    std::size_t bin = place < static_cast<double>(last) ? static_cast<std::size_t>(place) : last;
    // Rounding may have put a value near an edge on its other side.
    while (bin > 0 && value < edges_[bin]) --bin;
    while (bin < last && value >= edges_[bin + 1]) ++bin;
    ++counts_[bin];
}

}  // namespace measure
