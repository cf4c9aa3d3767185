// Foreign files: a hint at the command that converts one.

#pragma once

#include <string>

#include "tools/common/input_file.h"

/// What follows "it is not a point cloud file" in a message when `file` looks like a table that
/// `ptc convert` reads, by its first bytes; empty otherwise.
std::string ConvertHint(const InputFile& file);
