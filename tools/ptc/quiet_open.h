// Opening a cloud whose faults the command itself reports.

#pragma once

#include <memory>
#include <string>

#include "ptc/cloud/reader.h"
#include "tools/common/input_file.h"

/// Opens `file` with the reader, which prints and reports nothing. Null: the reader refuses it for
/// the reason `*why`. Throws a Failure when the system cannot open or read it.
std::unique_ptr<CloudReader> OpenQuietly(const InputFile& file, CountCheck counts,
                                         std::string* why);
