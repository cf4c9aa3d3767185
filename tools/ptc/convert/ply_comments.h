// PLY comments: the parts of a header that PLY has no place for, so that they are read back.
//
// "comment ptc KEY VALUES": world_to_eye and world_to_ndc with 16 floats, format with 3,
// point_variable and node_variable with type and name, one line for each variable in its order.

#pragma once

#include <string>
#include <string_view>

#include "tools/ptc/convert/point_stream.h"

namespace convert {

void AppendPlyComments(const StoredHeader& cloud, std::string* header);

/// Takes a header's comment line. A line that is another program's, or is damaged, is left out.
/// True: it declares a point variable.
bool TakePlyComment(std::string_view line, StoredHeader* cloud);

}  // namespace convert
