// Measurement: the passes over the points.

#include "tools/ptc/measure/measurement.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>

#include "tools/common/failure.h"
#include "tools/common/nearest_name.h"
#include "tools/ptc/point_pass.h"
#include "tools/ptc/variable_list.h"

namespace measure {

namespace {

/// A point may have millions of floats, and the sums of one take 2 KB: of more channels than this
/// there are several passes.
constexpr std::size_t kMostAtOnce = 4096;

/// The normal is left out: its codes are no numbers, and it is always of unit length or null.
std::vector<Channel> AllChannels(const CloudVariables& variables) {
    std::vector<Channel> channels = {{"x", PointScan::kPosition, {}},
                                     {"y", PointScan::kPosition + 1, {}},
                                     {"z", PointScan::kPosition + 2, {}},
                                     {"radius", PointScan::kRadius, {}}};
    std::size_t source = PointScan::kData;
    for (const Variable& variable : ListVariables(variables))
        for (std::int32_t part = 0; part < variable.size; ++part)
            channels.push_back({variable.FloatName(part), source++, {}});
    return channels;
}

/// From the back, where the file's own variables are: they come first, as in other commands.
Channel ChannelNamed(const std::string& name, const std::vector<Channel>& channels,
                     const std::string& file) {
    const auto found = std::find_if(channels.rbegin(), channels.rend(),
                                    [&](const Channel& channel) { return channel.name == name; });
    if (found != channels.rend()) return *found;
    constexpr std::size_t kMostNamed = 20;
    std::vector<std::string> names;
    std::string list;
    for (const Channel& channel : channels) {
        names.push_back(channel.name);
        if (names.size() <= kMostNamed) list += (list.empty() ? "" : ", ") + channel.name;
    }
    if (names.size() > kMostNamed) list += " ...";
    const std::string nearest = NearestName(name, names);
    throw Failure(
        nearest.empty()
            ? fmt::format("{}: no channel \"{}\"; there are {}", file, name, list)
            : fmt::format("{}: no channel \"{}\"; the nearest is {}", file, name, nearest));
}

/// The steps of the progress bar: every point, as many times as it is read.
class Passes {
public:
    Passes(CloudReader& cloud, const std::string& name, std::uint64_t most)
        : pass_(cloud, name),
          points_(static_cast<std::uint64_t>(cloud.point_count)),
          progress_(points_ * most, true) {}

    void Run(const PointPass::Visit& visit) {
        pass_.Run(progress_, done_, visit);
        done_ += points_;
    }

private:
    PointPass pass_;
    const std::uint64_t points_;
    Progress progress_;
    std::uint64_t done_ = 0;
};

/// Column by column, because sums are made of many values of one channel at a time.
void AddColumns(const PointPiece& piece, std::span<const Channel> channels,
                std::vector<ChannelSums>* sums) {
    std::array<float, 1024> column;
    for (std::size_t begin = 0; begin < piece.Count(); begin += column.size()) {
        const std::size_t rows = std::min(column.size(), piece.Count() - begin);
        for (std::size_t c = 0; c < channels.size(); ++c) {
            for (std::size_t i = 0; i < rows; ++i)
                column[i] = piece.Value(begin + i, channels[c].source);
            (*sums)[c].Add(std::span(column).first(rows));
        }
    }
}

void SumUp(std::span<Channel> channels, SpacingSample* sample, Passes& passes) {
    std::vector<ChannelSums> sums(channels.size());
    passes.Run([&](const PointPiece& piece) {
        AddColumns(piece, channels, &sums);
        if (sample) sample->Take(piece);
    });
    for (std::size_t i = 0; i < channels.size(); ++i) channels[i].statistics = sums[i].Statistics();
}

/// The second reading: what needs to know the ranges and the first distances.
void CountAndTry(std::vector<ChannelHistogram>& histograms, SpacingSample* sample, Passes& passes) {
    passes.Run([&](const PointPiece& piece) {
        for (auto& [channel, histogram] : histograms)
            for (std::size_t i = 0; i < piece.Count(); ++i)
                histogram.Add(piece.Value(i, channel.source));
        if (sample) sample->Try(piece);
    });
}

}  // namespace

Measurement Measure(CloudReader& cloud, const std::string& name, const MeasureOptions& options) {
    const std::vector<Channel> all = AllChannels(cloud.point_variables);
    std::vector<Channel> wanted;
    for (const std::string& channel : options.histograms)
        wanted.push_back(ChannelNamed(channel, all, name));
    const bool has_all = options.statistics;
    std::vector<Channel> channels = has_all ? all : wanted;

    Passes passes(cloud, name, (channels.size() + kMostAtOnce - 1) / kMostAtOnce + 1);
    std::optional<SpacingSample> sample;
    if (has_all) sample.emplace(static_cast<std::uint64_t>(cloud.point_count));
    for (std::size_t begin = 0; begin < channels.size(); begin += kMostAtOnce) {
        const auto some = std::span(channels).subspan(begin);
        SumUp(some.first(std::min(some.size(), kMostAtOnce)),
              begin == 0 && sample ? &*sample : nullptr, passes);
    }

    Measurement measured;
    for (const std::string& channel : options.histograms) {
        const Channel found = ChannelNamed(channel, channels, name);
        measured.histograms.push_back({found, Histogram(found.statistics, options.bins)});
    }
    const bool is_settled = !sample || sample->Settle();
    if (!is_settled || !measured.histograms.empty())
        CountAndTry(measured.histograms, is_settled ? nullptr : &*sample, passes);
    if (sample) measured.spacing = sample->Find();
    if (has_all) measured.channels = std::move(channels);
    return measured;
}

}  // namespace measure
