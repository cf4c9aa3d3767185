// The storage behind the records' data pointers, for the code that fills records.
//
// A record shows its floats as const, because readers share the blocks in which they lie. Whoever
// fills a record has provided the floats itself and may write to them.

#pragma once

#include "ptc/records.h"

/// Caller: `record.data` points to floats that were not declared const.
template <class Record>
float* StorageOf(const Record& record) {
    return const_cast<float*>(record.data);
}
