// The manual page of one command: the help's words in the order that readers of such pages expect,
// with what docs/tools.md says beyond them.

#pragma once

#include <string>

#include "tools/pages/command_line.h"
#include "tools/pages/tool_doc.h"

namespace pages {

/// `command` is `program` or one of its sub-commands. The page has no date: the same input gives
/// the same bytes.
std::string ManPage(const Command& program, const Command& command, const Section& section,
                    const std::string& version);

}  // namespace pages
