// The two parts of a header that a writer writes, in file order: the rewritable block, and the
// fixed part behind it.
//
// Errors     those of the token layer.
// Ownership  borrows everything.
// Threads    one caller at a time for one file.

#pragma once

#include "ptc/format/cloud_header.h"
#include "ptc/format/token_file.h"

/// Writes the block that is rewritten in place, as far as `header.version` has it. Every number has
/// a fixed width in text form too.
TokenStatus WriteRewritableBlock(TokenFile& file, const CloudHeader& header);

/// Writes the matrices, the format and the declarations, in the form of version 2.
TokenStatus WriteFixedHeader(TokenFile& file, const CloudHeader& header);
