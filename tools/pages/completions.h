// Completions: what a shell offers behind a program's name, as scripts that the shell loads.
//
// They offer sub-commands, options with their descriptions where the shell shows them, file names
// where a file is named, and the words of a value that has a fixed set. For numbers and names of
// variables they offer nothing.

#pragma once

#include <string>

#include "tools/pages/command_line.h"

namespace pages {

std::string BashCompletion(const Command& program);
std::string ZshCompletion(const Command& program);
std::string FishCompletion(const Command& program);

}  // namespace pages
