// Opening a file: above the standard descriptors, and through interruptions.

#pragma once

#include <sys/types.h>

#include <cstdio>

/// As open(2), with O_CLOEXEC added. A host may have closed its standard input, output or error;
/// the system would hand such a number to the next file, and every message that the host then
/// prints would land in it. The answer is 3 or above, and the file never had a lower number, not
/// even for a moment. -1: errno says why.
int OpenFile(const char* name, int flags, mode_t mode = 0);

/// As fopen(3), but an interruption is no failure.
std::FILE* OpenStream(const char* name, const char* mode);
