// Measurement: statistics, spacing and histograms of a cloud's points.
//
// Units      the channels'; lengths are in those of the positions.
// Errors     a Failure that names the file, when a point cannot be read or a channel is not there.
// Ownership  a result owns its texts and numbers.
// Threads    one caller at a time for one cloud.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ptc/cloud/reader.h"
#include "tools/ptc/measure/channel_sums.h"
#include "tools/ptc/measure/histogram.h"
#include "tools/ptc/measure/spacing_sample.h"

namespace measure {

struct MeasureOptions {
    bool statistics = false;
    std::vector<std::string> histograms;  ///< names of channels
    int bins = 20;

    bool IsAny() const { return statistics || !histograms.empty(); }
};

/// One float of every point.
struct Channel {
    std::string name;
    std::size_t source = 0;  ///< its place in a PointPiece
    ChannelStatistics statistics;
};

struct ChannelHistogram {
    Channel channel;
    Histogram histogram;
};

struct Measurement {
    std::vector<Channel> channels;  ///< all of them, in the record's order; or none
    std::optional<Spacing> spacing;
    std::vector<ChannelHistogram> histograms;  ///< in the order that was asked for
};

/// Reads all points, once or twice. `name`: what messages call the file.
Measurement Measure(CloudReader& cloud, const std::string& name, const MeasureOptions& options);

}  // namespace measure
