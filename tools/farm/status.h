// Status: how far a job is, what has failed and why, and what it has cost.
//
// Units      tasks are counted; seconds.
// Errors     a Failure if the job cannot be read.
// Ownership  a value.
// Threads    any.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/farm/job.h"
#include "tools/farm/job_folder.h"
#include "tools/farm/queued_tasks.h"
#include "tools/farm/task.h"

namespace farm {

struct StageStatus {
    std::uint64_t done = 0;
    std::uint64_t running = 0;
    std::uint64_t queued = 0;  ///< a scheduler has them
    std::uint64_t failed = 0;
    std::uint64_t waiting = 0;  ///< not started

    // Of those that are done.
    std::uint64_t measured = 0;  ///< with figures
    double seconds = 0;
    double longest = 0;
    double processor = 0;
    double waited = 0;  ///< from when all that a task needs was there to its begin
    std::int64_t peak_bytes = 0;
};

struct JobStatus {
    std::array<StageStatus, kStages.size()> stages;  ///< by Stage
    std::vector<std::string> failures;               ///< a line each, the first kMostFailures
    std::uint64_t failed = 0;
    std::uint64_t unfinished = 0;  ///< running or queued
    double first_begun = 0;        ///< of all that is done; 0: nothing is
    double last_ended = 0;
};

inline constexpr std::size_t kMostFailures = 100;

JobStatus StatusOf(const Job& job, const JobFolder& folder, const QueuedTasks& queued);

/// A table of the stages that the job has, the costs, and the failures.
std::string StatusText(const JobStatus& status);

/// The same as JSON.
std::string StatusJson(const JobStatus& status);

}  // namespace farm
