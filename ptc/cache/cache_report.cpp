// Writes the merged figures of the caches.

#include "ptc/cache/cache_report.h"

#include <span>

#include "util/stats/hres_clock.h"
#include "util/stats/stats_xml.h"
#include "util/text/number_text.h"

namespace {

constexpr double kMegabyte = 1048576;

void Append(std::string* text, std::string_view format, Number value) {
    AppendFormatted(format, std::span(&value, 1), text);
}

void AppendLabel(std::string* text, std::string_view label) {
    constexpr std::size_t kLabelWidth = 16;
    text->append(label).append(kLabelWidth - label.size(), ' ');
}

void AppendTime(std::string* text, std::string_view label, const UtHresTimerStat& time) {
    AppendLabel(text, label);
    Append(text, "%14.2f s\n", time.Ticks() / hres_clock::TicksPerSecond());
}

void AppendMegabytes(std::string* text, std::string_view label, const UtMemStat& memory) {
    AppendLabel(text, label);
    Append(text, "%13.2f MB\n", static_cast<double>(memory.Current()) / kMegabyte);
}

/// Appends one line: a label, and what `column` appends for points and for nodes.
template <class Column>
void AppendLine(std::string* text, std::string_view label, const PtcCacheStats& total,
                Column column) {
    AppendLabel(text, label);
    column(total.points);
    column(total.nodes);
    text->append("\n");
}

}  // namespace

std::string CacheReportXml(const PtcCacheStats& total) {
    std::string text;
    XmlStatsWriter writer(&text);
    total.write(writer);
    writer.Finish();
    return text;
}

std::string CacheReportTable(const PtcCacheStats& total) {
    std::string text = "Point cloud caches        points           nodes\n";
    const auto count = [&](std::string_view label, PtcCounter PtcCacheFigures::*figure) {
        AppendLine(&text, label, total, [&](const PtcCacheFigures& cache) {
            const unsigned long value = (cache.*figure).Value();
            Append(&text, "%16i", static_cast<std::int64_t>(value));
        });
    };
    const auto megabytes = [&](std::string_view label, std::int64_t (UtMemStat::*bytes)() const) {
        AppendLine(&text, label, total, [&](const PtcCacheFigures& cache) {
            Append(&text, "%13.2f MB", static_cast<double>((cache.memory.*bytes)()) / kMegabyte);
        });
    };
    count("  slots", &PtcCacheFigures::slots);
    count("  lookups", &PtcCacheFigures::lookups);
    count("  hits", &PtcCacheFigures::hits);
    count("  misses", &PtcCacheFigures::misses);
    count("  uncached", &PtcCacheFigures::uncached);
    AppendLine(&text, "  hit rate", total, [&](const PtcCacheFigures& cache) {
        const auto hits = static_cast<double>(cache.hits.Value());
        const auto lookups = static_cast<double>(cache.lookups.Value());
        if (lookups == 0) {
            text.append("               -");
            return;
        }
        Append(&text, "%14.2f", 100 * hits / lookups);
        text.append(" %");
    });
    count("  items read", &PtcCacheFigures::read);
    megabytes("  memory", &UtMemStat::Current);
    megabytes("  memory, peak", &UtMemStat::Peak);
    AppendTime(&text, "  read time", total.cache_read_time);
    text.append("Lookups in point clouds\n");
    AppendTime(&text, "  nearest points", total.getpoints_time);
    AppendTime(&text, "  filtered", total.texture3d_time);
    AppendTime(&text, "  in octrees", total.traverse_octrees_time);
    text.append("Light out of point clouds\n");
    AppendTime(&text, "  occlusion", total.occlusion_time);
    AppendTime(&text, "  indirect", total.indirectdiffuse_time);
    AppendTime(&text, "  subsurface", total.subsurface_time);
    AppendTime(&text, "  drawn", total.rasterize_time);
    text.append("Octrees in memory\n");
    AppendTime(&text, "  files read", total.file_read_time);
    AppendTime(&text, "  built", total.build_octrees_time);
    AppendMegabytes(&text, "  points", total.cloud_memory);
    AppendMegabytes(&text, "  nodes", total.octree_memory);
    return text;
}
