// Table sources: PLY and CSV files, read row by row.
//
// Ownership  a source owns its open file.

#pragma once

#include <memory>

#include "tools/common/input_file.h"
#include "tools/ptc/convert/point_stream.h"

namespace convert {

/// Any PLY file whose element "vertex" has x, y and z: text or binary of either byte order, values
/// of any type, lists and other elements skipped. `radius`: of points without one.
std::unique_ptr<PointSource> OpenPly(const InputFile& file, float radius);

/// A header line with the columns' names, then a line of as many numbers for each point, separated
/// by commas. Names and numbers may be quoted. `radius`: of points without one.
std::unique_ptr<PointSource> OpenCsv(const InputFile& file, float radius);

}  // namespace convert
