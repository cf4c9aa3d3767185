// Foreign files: telling someone who names one what makes a point cloud file of it.

#pragma once

#include <string>

#include "tools/common/input_file.h"

/// What goes behind "it is not a point cloud file" when `file` looks like a table that
/// `ptc convert` reads, by its first bytes; else nothing.
std::string ConvertHint(const InputFile& file);
