// Running one command of which a monitor hears.

#pragma once

#include "tools/common/reporter.h"
#include "tools/ptc/run_guarded.h"

/// Runs `work(reporter)`. The answer: its exit status, 0 or 1.
template <class Work>
int RunReportedCommand(const ReportedRun& run, Work work) {
    return RunGuarded([&] {
        RunReported(run, work);
        return 0;
    });
}
