// The octree of a cloud that is copied: kept, or left out with a note.
//
// Errors     a Failure that names the file.

#pragma once

#include "tools/common/input_file.h"
#include "tools/common/output_file.h"
#include "tools/ptc/convert/point_stream.h"

namespace convert {

/// Copies the nodes of `source` behind the points of `sink`, where that can hold them and they
/// `may_stay`; otherwise a note says that they are left out. Caller: has written all points, and
/// where nodes may stay, those of `source` and no others.
void CopyTree(const InputFile& in, PointSource& source, const OutputFile& out, PointSink& sink,
              bool may_stay);

}  // namespace convert
