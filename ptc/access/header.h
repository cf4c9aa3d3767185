// A header as users of the library get it.
//
// Units      those of ptc/header.h.
// Errors     CopyVariables() throws std::bad_alloc.
// Ownership  all answers are copies.
// Threads    any.

#pragma once

#include "ptc/format/cloud_header.h"
#include "ptc/header.h"

void CopyHeader(const CloudHeader& from, PtcHeader* to) noexcept;

/// Either may be null.
void CopyVariables(const CloudHeader& from, PtcVariables* of_points, PtcVariables* of_nodes);
