// Opening the cloud that a user named, with the reason of a failure as the line that the user
// reads.

#pragma once

#include "tools/common/input_file.h"
#include "tools/ptc/header_check.h"

/// Opens `file`, also when it has fewer points than its header counts: the commands are there for
/// such files. Fails with the reason and its place in the file.
OpenedCloud OpenInput(const InputFile& file);
