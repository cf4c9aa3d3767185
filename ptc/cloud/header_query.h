// Header values by name.
//
// Errors     1 for success, 0 for failure. Prints nothing.
// Ownership  borrows the header. Arrays in an answer are the caller's.
// Threads    any, while nobody changes the header.

#pragma once

#include <string_view>

#include "ptc/format/cloud_header.h"
#include "util/base/results.h"

/// Stores the header value that `request` names at `out`: `docs/format.md` lists the requests and
/// what each one stores. Arrays are allocated with malloc, and so is every text in them; the caller
/// frees both. A count that 32 bits do not hold is stored as INT32_MAX.
/// Failed: no such request, or no memory for the answer; nothing is stored.
CloudStatus GetHeaderValue(const CloudHeader& header, std::string_view request, void* out);
