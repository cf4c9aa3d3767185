// Queued tasks: those that a scheduler has and has not ended.

#pragma once

#include <map>
#include <string>

namespace farm {

/// By the task's name: the number of the scheduler's job.
using QueuedTasks = std::map<std::string, std::string>;

}  // namespace farm
