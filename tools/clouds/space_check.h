// What a cloud made of others takes at least, and whether there is room for it: better told before
// an hour of work than after it.
//
// Units      bytes.
// Errors     a Failure; inputs that are no clouds count nothing, whoever reads them says why.
// Ownership  none.
// Threads    any.

#pragma once

#include <cstdint>
#include <string>

#include "tools/clouds/library_files.h"

/// Of the points of `count` clouds from `first` on, written as one binary file with the variables
/// of the first of them. Compressed clouds count nothing: what their headers say is not checked.
std::int64_t LeastBytes(const LibraryInputs& inputs, int first, int count);

/// Fails if a file `path` cannot take `bytes`. `name`: what messages call it.
void CheckSpace(const std::string& path, const std::string& name, std::int64_t bytes);

/// The same of a file in the folder that TMPDIR names, or in /tmp.
void CheckTemporarySpace(std::int64_t bytes);
