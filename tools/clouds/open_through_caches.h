// Opening clouds through the library's caches, as shading threads do.
//
// Units      none.
// Errors     a Failure with the library's reason.
// Ownership  the library's files are closed at the end of a scope that asks for it.
// Threads    the library's own rules: ptc/access.h.

#pragma once

#include "ptc/access.h"
#include "tools/common/input_file.h"

/// Closes the library's files at the end of a scope.
struct LibraryShutdown {
    LibraryShutdown() = default;
    LibraryShutdown(const LibraryShutdown&) = delete;
    LibraryShutdown& operator=(const LibraryShutdown&) = delete;
    ~LibraryShutdown() { PtcShutdown(); }
};

/// Opens `file` through the library. Fails with its reason.
PtcFile OpenThroughCaches(const InputFile& file);

PtcHeader HeaderOf(const PtcFile& file);
