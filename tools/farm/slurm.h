// Slurm: a job's tasks as array jobs and jobs that depend on them.
//
// Units      none.
// Errors     a Failure with the scheduler's own words.
// Ownership  none: the names of the scheduler's jobs say which tasks they are.
// Threads    the main thread.

#pragma once

#include "tools/farm/job.h"
#include "tools/farm/job_folder.h"
#include "tools/farm/queued_tasks.h"

namespace farm {

/// Hands over every task that is neither fresh nor queued: for each frame its parts as array jobs,
/// and behind them a job for each later stage, which begins when all that it needs has succeeded
/// and is given up otherwise.
void SubmitToSlurm(const Job& job, const JobFolder& folder, bool is_quiet);

/// The job's tasks that Slurm has; none of a job that was never handed over.
QueuedTasks QueuedInSlurm(const JobFolder& folder);

}  // namespace farm
