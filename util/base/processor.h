// What the processor can do.
//
// Units      none.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

namespace processor {

/// Whether the processor has AVX2 and the system keeps its registers.
bool HasAvx2();

}  // namespace processor
