// Programs: where pcbake and ptc are on this machine.
//
// Errors     a Failure that lists the places.
// Threads    any.

#pragma once

#include <string>

#include "tools/farm/job.h"

namespace farm {

/// This program's own file.
std::string OwnProgram();

/// The file of a program: one with a slash is itself; another one is looked up in the job's
/// folders, then beside this program, then along PATH.
std::string ProgramFile(const Job& job, const std::string& name);

}  // namespace farm
