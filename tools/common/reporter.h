// Reporter: tells a monitor how a run begins, goes on and ends, one line of JSON for each event.
//
// docs/report.md describes the events. Nothing here changes what a run does or how it ends.
//
// Units      seconds; shares from 0 to 1.
// Errors     none: reports that are lost are counted, and told when the run has ended.
// Ownership  owns its connection. One object at a time in a process.
// Threads    one at a time.

#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/progress.h"
#include "util/io/host_port.h"

struct ReportedRun {
    const char* program;  ///< as its messages begin
    const char* tool;     ///< the program, or program and command
    std::string output;   ///< the file that it makes
    std::optional<HostPort> monitor;
    bool is_quiet = false;  ///< nothing on standard error about lost reports
};

class Reporter final : public ProgressListener {
public:
    /// Without a monitor nothing else does anything either.
    explicit Reporter(const ReportedRun& run);
    ~Reporter();

    /// Begins to deliver, on another thread. Caller: makes no copy of the process from here on that
    /// needs to have one thread, and changes no environment variable.
    void Start() noexcept;

    /// Adds a figure to the report of the end.
    void Add(const char* name, std::int64_t figure);

    void End() noexcept;
    void Fail(const std::exception& failure) noexcept;

    void BeginPass() noexcept override { pass_ += 1; }
    void ShowShare(double share) noexcept override;

private:
    class Wire;

    template <class Fill>
    void Tell(const char* event, Fill fill) noexcept;
    void Finish() noexcept;

    const ReportedRun run_;
    const std::unique_ptr<Wire> wire_;  ///< null: no monitor
    std::vector<std::pair<std::string, std::int64_t>> figures_;
    int pass_ = 0;
    std::chrono::steady_clock::time_point next_share_;
};

/// Calls `work(reporter)` and reports its end, or why it failed; what it throws goes on.
template <class Work>
void RunReported(const ReportedRun& run, Work work) {
    Reporter reporter(run);
    try {
        work(reporter);
        reporter.End();
    } catch (const std::exception& failure) {
        reporter.Fail(failure);
        throw;
    }
}
