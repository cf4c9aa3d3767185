// Cloud source: the system's own file in any of its forms, record by record.

#pragma once

#include <memory>

#include "tools/common/input_file.h"
#include "tools/ptc/convert/point_stream.h"

namespace convert {

/// Opens a binary or a text file, plain or gzip, which its first bytes show. As many points
/// are read as its header counts. Throws a Failure that names the file.
std::unique_ptr<PointSource> OpenCloudSource(const InputFile& file);

}  // namespace convert
