// ptc light: light out of clouds onto the points of one.
//
// Errors     a Failure that names the file; the target is then as it was.

#pragma once

#include "tools/common/reporter.h"
#include "tools/ptc/light/light_options.h"

namespace lighting {

/// Makes the output and reports what it has.
void RunLight(const Options& options, Reporter& reporter);

}  // namespace lighting
