// What lookups of points and of nodes share: their failures.

#pragma once

#include "ptc/access/last_failure.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/managed_file.h"

/// Stores why the cache has no record of `file`. `what`: the record, such as "point 17".
void SetLookupFailure(const PtcManagedFile& file, const char* what, const PtcNoBlock& why) noexcept;

/// Stores that a record does not exist, or why `file` has none at all.
void SetNoRecord(const PtcManagedFile* file, const char* what) noexcept;
