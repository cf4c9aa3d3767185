// Measurements for people: the table and the bars.

#include "tools/ptc/measure/measurement_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "util/text/printable_text.h"

namespace measure {

namespace {

constexpr std::size_t kColumns = 8;
using Row = std::array<std::string, kColumns>;

/// Columns as wide as their longest cell; the first is aligned to the left, the others to the
/// right.
std::string Aligned(const std::vector<Row>& rows) {
    std::array<std::size_t, kColumns> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], row[i].size());
    std::string text;
    for (const Row& row : rows) {
        text += fmt::format("  {:<{}}", row[0], widths[0]);
        for (std::size_t i = 1; i < kColumns; ++i)
            text += fmt::format("  {:>{}}", row[i], widths[i]);
        text += '\n';
    }
    return text;
}

std::string Number(double value) {
    return fmt::format("{:.7g}", value);
}

Row RowOf(const Channel& channel) {
    const ChannelStatistics& of = channel.statistics;
    const auto if_any = [&](double value) { return of.finite > 0 ? Number(value) : "-"; };
    return {Printable(channel.name),     if_any(of.least),
            if_any(of.greatest),         if_any(of.mean),
            if_any(of.deviation),        std::to_string(of.nan),
            std::to_string(of.infinite), std::to_string(of.zero)};
}

std::string Table(const std::vector<Channel>& channels) {
    std::vector<Row> rows = {
        {"channel", "least", "greatest", "mean", "deviation", "nan", "infinite", "zero"}};
    for (const Channel& channel : channels) rows.push_back(RowOf(channel));
    return Aligned(rows);
}

std::string SpacingLine(const Spacing& spacing) {
    std::string text = fmt::format("  {:<16} ", "spacing");
    if (!spacing.median) return text + "none, there are no two points apart\n";
    text += fmt::format("{}, median of {} points", Number(*spacing.median), spacing.sampled);
    if (const auto ratio = spacing.RadiusPerSpacing())
        text += fmt::format("; median radius {}, {:.3g} of the spacing",
                            Number(*spacing.median_radius), *ratio);
    return text + '\n';
}

/// A bar for each bin, the longest of kLongest signs; nothing but a count of 0 has none.
std::string Bars(const Histogram& histogram, std::uint64_t finite) {
    constexpr double kLongest = 40;
    const std::vector<std::uint64_t>& counts = histogram.Counts();
    const std::uint64_t most = *std::max_element(counts.begin(), counts.end());
    const std::size_t digits = std::to_string(most).size();
    std::string text;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const double share = static_cast<double>(counts[i]) / static_cast<double>(finite);
        const double length = kLongest * static_cast<double>(counts[i]) / static_cast<double>(most);
        const long signs = counts[i] == 0 ? 0 : std::max(1L, std::lround(length));
        fmt::format_to(std::back_inserter(text), "  {:>13} {:>13}  {:>{}} {:>6.2f} %{}{}\n",
                       Number(histogram.Edges()[i]), Number(histogram.Edges()[i + 1]), counts[i],
                       digits, 100 * share, signs > 0 ? "  " : "",
                       std::string(static_cast<std::size_t>(signs), '#'));
    }
    return text;
}

std::string HistogramText(const ChannelHistogram& of) {
    const ChannelStatistics& statistics = of.channel.statistics;
    std::string text = fmt::format("  histogram of {}: {} finite, {} nan, {} infinite\n",
                                   Printable(of.channel.name), statistics.finite, statistics.nan,
                                   statistics.infinite);
    return statistics.finite > 0 ? text + Bars(of.histogram, statistics.finite) : text;
}

}  // namespace

std::string MeasurementText(const Measurement& measured) {
    std::string text;
    if (measured.spacing) text += Table(measured.channels) + SpacingLine(*measured.spacing);
    for (const ChannelHistogram& histogram : measured.histograms) text += HistogramText(histogram);
    return text;
}

}  // namespace measure
