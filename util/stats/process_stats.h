// `TgStats` and `TgMemoryStats`: the process's own statistics, and their plain-text summary.
//
// Units      bytes and seconds; the summary prints megabytes and whole seconds.
// Errors     a figure that the system does not provide is 0 or empty.
// Ownership  each object owns its figures.
// Threads    one at a time, like every statistic.
//
// A host calls start() when its run begins, stop() when it ends, and update() before it writes or
// prints. Times and page counts cover the time from start() to stop().

#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "util/stats/process_figures.h"
#include "util/stats/stats.h"
#include "util/stats/stats_timers.h"

/// The section "system" of the report: the machine, the run, the files. The members are public
/// because other code sets them: the code that opens files counts them here.
class TgStats : public UtStatsList {
public:
    TgStats();

    /// Reads the process's size and the names of host, operating system and machine.
    void update() override;

    // In the order in which they are written.
    UtMemStat system_mem{"systemMem", "System memory"};  ///< size of the process
    UtCounterStat<unsigned long> files_opened{"filesOpened", "Files opened"};
    UtCounterStat<unsigned long> files_reopened{"filesReopened", "Files reopened"};
    UtCounterStat<unsigned long> files_reclaimed{"filesReclaimed", "Files reclaimed"};
    UtCounterStat<unsigned long> files_open_error{"filesOpenError",
                                                  "Files not successfully opened"};
    UtTimerStat total_time{"totaltime", "Total time"};
    UtSetStat<std::string> file_log{"fileLog", ""};  ///< names of the files that were opened
    UtStringStat host_name{"hostname", "Host name"};
    UtStringStat os_name{"osName", "OS name"};
    UtStringStat os_release{"osRelease", "OS release"};
    UtStringStat os_version{"osVersion", "OS version"};
    UtStringStat arch{"arch", "System architecture"};
};

/// Memory and paging of the process, written as one element like that of a list.
class TgMemoryStats : public UtStat {
public:
    using UtStat::UtStat;

    void reset() override;
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

    /// update() reads the memory figures; pages are counted from start() to stop().
    void start() override;
    void stop() override;
    void update() override;

    UtMemStat heap_memory{"heapMemory", "Total heap memory"};
    UtMemStat peak_resident_size{"peakResidentSize", "Peak resident size"};
    UtCounterStat<unsigned long> page_faults{"pageFaults", ""};
    UtCounterStat<unsigned long> page_reclaims{"pageReclaims", ""};
    UtCounterStat<unsigned long> page_swaps{"pageSwaps", ""};

private:
    void CountPages();

    std::optional<PageCounts> counting_since_;
};

/// Memory, paging and times as text for a person: seven lines, one of them empty.
/// Caller: both have been updated.
std::string SummaryText(const TgStats& system, const TgMemoryStats& memory);

/// Updates both and prints their summary on `stream`.
void PrintSummary(TgStats& system, TgMemoryStats& memory, std::FILE* stream);
