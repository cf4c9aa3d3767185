// Writing and reading at any place of an open file.
//
// Units      offsets and sizes in bytes.
// Errors     false, and errno says why. No signal is raised.
// Ownership  borrows descriptor and bytes.
// Threads    any, several at once.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Writes all of `bytes`.
bool WriteAt(int descriptor, std::int64_t offset, std::span<const std::byte> bytes);

/// Fills all of `bytes`. A file that ends before is an input error, EIO.
bool ReadAt(int descriptor, std::int64_t offset, std::span<std::byte> bytes);
