// Running a task: what every machine of a farm does, whatever scheduler asks it to.
//
// Units      none.
// Errors     a Failure with the last line of what the command said; the job's folder has it, too.
// Ownership  none.
// Threads    the main thread.

#pragma once

#include <string>

#include "tools/farm/job.h"
#include "tools/farm/job_folder.h"
#include "tools/farm/stop_signals.h"

namespace farm {

enum class TaskResult {
    kMade,
    kWasFresh,  ///< nothing was to do
};

/// Runs task `name` unless it is fresh. Waits while another process runs it. A Failure if a task
/// that it needs is not fresh, or if it has failed or was stopped by a signal.
TaskResult RunTask(const Job& job, const JobFolder& folder, const std::string& name,
                   StopSignals* stop);

}  // namespace farm
