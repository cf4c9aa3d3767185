// What lookups of points and of nodes share: their failures.

#pragma once

#include "ptc/access/last_failure.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/managed_file.h"

/// Stores why the cache has no record of `file`. `what`: the record, such as "point 17".
void SetLookupFailure(const PtcManagedFile& file, const char* what, const PtcNoBlock& why) noexcept;

/// Stores that a record does not exist, or why `file` has none at all.
void SetNoRecord(const PtcManagedFile* file, const char* what) noexcept;

/// The records of the children of the node at `reference`, whose record has the references
/// `children`: eight of them, of which an absent one is all zero. Valid until the thread's next
/// lookup of nodes. Null: the failure is stored. `cache`: the calling thread's; null: no memory.
const PtcNode* ChildRecords(PtcThreadCache* cache, PtcManagedFile& file, std::int64_t reference,
                            const std::int64_t* children);

/// The record of the octree's root, as ChildRecords(). Null: there is none, or it cannot be read,
/// and the failure is stored.
const PtcNode* RootRecord(PtcThreadCache* cache, PtcManagedFile* file);

/// The record of point `index`, which `file` has. Null: the failure is stored.
const PtcPoint* PointRecordOf(PtcThreadCache* cache, PtcManagedFile& file, std::int64_t index);
