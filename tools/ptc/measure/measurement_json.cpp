// Measurements for machines: the keys and their order.

#include "tools/ptc/measure/measurement_json.h"

#include <optional>

namespace measure {

namespace {

void AddCounts(const ChannelStatistics& of, JsonText* json) {
    json->Add("finite", of.finite);
    json->Add("nan", of.nan);
    json->Add("infinite", of.infinite);
}

void AddChannel(const Channel& channel, JsonText* json) {
    const ChannelStatistics& of = channel.statistics;
    const auto if_any = [&](auto value) {
        return of.finite > 0 ? std::optional(value) : std::nullopt;
    };
    json->BeginLine('{');
    json->Add("name", channel.name);
    json->Add("least", if_any(of.least));
    json->Add("greatest", if_any(of.greatest));
    json->Add("mean", if_any(of.mean));
    json->Add("deviation", if_any(of.deviation));
    AddCounts(of, json);
    json->Add("zero", of.zero);
    json->EndLine('}');
}

void AddSpacing(const Spacing& spacing, JsonText* json) {
    json->BeginLine("spacing", '{');
    json->Add("sampled", spacing.sampled);
    json->Add("median", spacing.median);
    json->Add("median_radius", spacing.median_radius);
    json->Add("radius_per_spacing", spacing.RadiusPerSpacing());
    json->EndLine('}');
}

void AddHistogram(const ChannelHistogram& of, JsonText* json) {
    json->Begin('{');
    json->Add("name", of.channel.name);
    AddCounts(of.channel.statistics, json);
    json->BeginLine("edges", '[');
    for (const double edge : of.histogram.Edges()) json->Add(edge);
    json->EndLine(']');
    json->BeginLine("counts", '[');
    for (const std::uint64_t count : of.histogram.Counts()) json->Add(count);
    json->EndLine(']');
    json->End('}');
}

}  // namespace

void AddMeasurement(const Measurement& measured, JsonText* json) {
    if (measured.spacing) {
        json->Begin("statistics", '{');
        json->Begin("channels", '[');
        for (const Channel& channel : measured.channels) AddChannel(channel, json);
        json->End(']');
        AddSpacing(*measured.spacing, json);
        json->End('}');
    }
    if (measured.histograms.empty()) return;
    json->Begin("histograms", '[');
    for (const ChannelHistogram& histogram : measured.histograms) AddHistogram(histogram, json);
    json->End(']');
}

}  // namespace measure
