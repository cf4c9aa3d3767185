// Free space: what a folder's file system has left, and whether a file can fit at all.
//
// Units      bytes.
// Errors     nothing, or no objection, where the system does not say. Throws std::bad_alloc.
// Ownership  none.
// Threads    any.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What this user may still write below `folder`. Nothing if the system does not say, as for file
/// systems without blocks of their own. Quotas are unknown to it.
std::optional<std::int64_t> FreeBytes(const std::string& folder);

/// Why a new file `path` cannot take `bytes`: "needs N bytes, M are free in FOLDER". Empty if it
/// may fit: `path` is a device or a pipe, the system does not say, or the file system is not one
/// that is known to store every byte. Others may compress, behind a network, too.
/// `path` may be a file that exists: it is replaced when the new one is whole, so frees nothing.
std::string LackOfSpace(const std::string& path, std::int64_t bytes);
