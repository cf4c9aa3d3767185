// ptc edit: points that go, values that change, variables that come and go.
//
// Errors     a Failure that names the file, or an ExpressionError; the target is then as it was.

#pragma once

#include "tools/ptc/edit/edit_options.h"

namespace edit {

/// What is done has a fixed order: points go, values are set and variables added in the order of
/// their options, variables go, others get new names, what is left is thinned and then moved.
void RunEdit(const Options& options);

}  // namespace edit
