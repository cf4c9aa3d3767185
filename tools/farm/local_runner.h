// Local runner: all tasks of a job on this machine, some at a time.
//
// Units      tasks are counted.
// Errors     a Failure only for what keeps the runner itself from going on.
// Ownership  waits for every process that it starts.
// Threads    the main thread.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/farm/job.h"
#include "tools/farm/job_folder.h"
#include "tools/farm/stop_signals.h"

namespace farm {

struct LocalOutcome {
    std::uint64_t made = 0;
    std::uint64_t were_fresh = 0;
    std::uint64_t failed = 0;
    std::uint64_t not_started = 0;  ///< because what they need has failed, or because of a signal
    bool was_stopped = false;
};

/// Runs every task that is not fresh, `processes` at a time, each as soon as what it needs is done.
/// A task that fails keeps those that need it from starting, and no other. Says each failure on
/// standard error. A signal stops all.
LocalOutcome RunLocally(const Job& job, const JobFolder& folder, int processes, bool is_quiet,
                        StopSignals* stop);

}  // namespace farm
