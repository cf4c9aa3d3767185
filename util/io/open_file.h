// Opens files with descriptors above the standard ones, and retries when a signal interrupts.
//
// Units      none.
// Errors     -1 or null, and errno says why.
// Ownership  the caller closes what is opened.
// Threads    any.

#pragma once

#include <sys/types.h>

#include <cstdio>

/// Like open(2), with O_CLOEXEC added, but returns a descriptor of 3 or above. A host may have
/// closed its standard input, output or error; open(2) would give such a number to the next file,
/// and everything that the host prints would be written into that file. A file that can be written
/// never has a lower number, not even during the call.
int OpenFile(const char* name, int flags, mode_t mode = 0);

/// Like fopen(3), but tries again when a signal interrupts it.
std::FILE* OpenStream(const char* name, const char* mode);
