// Task list: a command a task, for schedulers that pcfarm does not know.

#pragma once

#include <string>

#include "tools/farm/job.h"
#include "tools/farm/job_folder.h"

namespace farm {

/// A line of the shell's language for each task that is not fresh: the command, and behind " #
/// after " the tasks that must be done before. No line comes before one that it needs. Sent to
/// standard output.
void PrintTasks(const Job& job, const JobFolder& folder);

/// `text` as one word of the shell's language.
std::string ShellWord(const std::string& text);

}  // namespace farm
