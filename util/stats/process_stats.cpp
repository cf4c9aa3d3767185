// Fills the process's statistics from the system and prints their summary.

#include "util/stats/process_stats.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <span>
#include <string_view>

#include "util/text/number_text.h"

namespace {

constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::string_view kIndent = "       ";

/// Appends a number of 0 or more with at least two digits, like "%02ld".
void AppendTwoDigits(std::int64_t number, std::string* text) {
    if (number < 10) *text += '0';
    *text += std::to_string(number);
}

/// A line of the summary: the label, the time as [hours:]minutes:seconds.
void AppendTime(std::string_view label, double time, std::string* text) {
    // Clamped to 2^53, above which a double no longer holds every integer: std::llround() is
    // undefined for what a 64-bit integer cannot hold.
    constexpr double kForever = 0x1p53;
    std::int64_t seconds =
        std::isnan(time) ? 0 : std::llround(std::trunc(std::clamp(time, 0.0, kForever)));

    text->append(kIndent).append(label);
    // KEPT: exactly one hour is printed as sixty minutes, because hours appear above 3600 only.
    // Test: UtilProcessStats.SummaryTimesCountHoursAboveOneHourOnly
    if (seconds > kSecondsPerHour) {
        *text += std::to_string(seconds / kSecondsPerHour) + ':';
        seconds %= kSecondsPerHour;
    }
    AppendTwoDigits(seconds / 60, text);
    *text += ':';
    AppendTwoDigits(seconds % 60, text);
    *text += '\n';
}

/// A figure for "%5.2f". The factor is a power of two, so only the printing rounds.
Number Megabytes(std::int64_t bytes) {
    return static_cast<double>(bytes) * (1.0 / 1048576.0);
}

Number Whole(const UtCounterStat<unsigned long>& counter) {
    return static_cast<std::int64_t>(counter.Value());
}

/// Writes a leaf with the attribute "name" only; a counter that writes itself also has
/// "description".
void WriteCount(StatsWriter& writer, const UtCounterStat<unsigned long>& counter) {
    writer.LeafElement("int", std::to_string(counter.Value()),
                       std::array<StatsAttribute, 1>{{{"name", counter.Name()}}});
}

}  // namespace

// --- TgStats ---

TgStats::TgStats() : UtStatsList("section", "system", "System stats") {
    AddAll({&system_mem, &files_opened, &files_reopened, &files_reclaimed, &files_open_error,
            &total_time, &file_log, &host_name, &os_name, &os_release, &os_version, &arch});
}

void TgStats::update() {
    UtStatsList::update();
    system_mem.Set(ReadProcessMemory().size);

    // Read each time: the host's name may change while the process runs.
    utsname names{};
    if (uname(&names)) return;
    host_name.Set(names.nodename);
    os_name.Set(names.sysname);
    os_release.Set(names.release);
    os_version.Set(names.version);
    arch.Set(names.machine);
}

// --- TgMemoryStats ---

void TgMemoryStats::reset() {
    for (UtStat* figure : std::initializer_list<UtStat*>{&heap_memory, &peak_resident_size,
                                                         &page_faults, &page_reclaims, &page_swaps})
        figure->reset();
    if (counting_since_) counting_since_ = ReadPageCounts();
}

void TgMemoryStats::merge(const UtStat& other) {
    const auto* same = dynamic_cast<const TgMemoryStats*>(&other);
    if (!same) return;
    heap_memory.merge(same->heap_memory);
    peak_resident_size.merge(same->peak_resident_size);
    page_faults.merge(same->page_faults);
    page_reclaims.merge(same->page_reclaims);
    page_swaps.merge(same->page_swaps);
}

void TgMemoryStats::write(StatsWriter& writer) const {
    Begin(writer, "stats");
    heap_memory.write(writer);
    peak_resident_size.write(writer);
    WriteCount(writer, page_faults);
    WriteCount(writer, page_reclaims);
    WriteCount(writer, page_swaps);
    writer.EndElement("stats", true);
}

void TgMemoryStats::start() {
    if (!counting_since_) counting_since_ = ReadPageCounts();
}

void TgMemoryStats::stop() {
    CountPages();
    counting_since_.reset();
}

void TgMemoryStats::update() {
    const ProcessMemory memory = ReadProcessMemory();
    heap_memory.Set(memory.heap);
    peak_resident_size.Set(memory.resident);
    peak_resident_size.RaisePeak(memory.peak_resident);
    CountPages();
}

// Adds the pages since the last call, so merged figures are not overwritten.
void TgMemoryStats::CountPages() {
    if (!counting_since_) return;
    const PageCounts now = ReadPageCounts();
    page_faults.Add(static_cast<unsigned long>(now.faults - counting_since_->faults));
    page_reclaims.Add(static_cast<unsigned long>(now.reclaims - counting_since_->reclaims));
    page_swaps.Add(static_cast<unsigned long>(now.swaps - counting_since_->swaps));
    counting_since_ = now;
}

// --- The summary ---

std::string SummaryText(const TgStats& system, const TgMemoryStats& memory) {
    std::string text;
    AppendFormatted(
        "       Memory:        %5.2f MB\n"
        "       Max resident mem: %5.2f MB\n"
        "       Page faults: %ld, Page reclaims: %ld, Swaps: %ld\n\n",
        std::array{Megabytes(system.system_mem.Current()),
                   Megabytes(memory.peak_resident_size.Peak()), Whole(memory.page_faults),
                   Whole(memory.page_reclaims), Whole(memory.page_swaps)},
        &text);
    const ProcessTimes& spent = system.total_time.Total();
    AppendTime("Real time:     ", spent.elapsed, &text);
    AppendTime("User time:     ", spent.user, &text);
    AppendTime("Sys time:      ", spent.system, &text);
    return text;
}

void PrintSummary(TgStats& system, TgMemoryStats& memory, std::FILE* stream) {
    system.update();
    memory.update();
    std::fputs(SummaryText(system, memory).c_str(), stream);
}
