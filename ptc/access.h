// The access library's front door: open, release, finish, configure, shut down.
//
// Units      memory in KB.
// Errors     null for a file that cannot be opened, whatever the reason; 1 for success and 0 for
//            failure where a file is finished. Nothing is thrown, and nothing is reported but what
//            the reader reports about a file.
// Ownership  a handle is a use of a file by the thread that opened it. That thread gives each use
//            back with PtcRelease() or PtcFinish(); what it keeps ends with the thread. Handles,
//            and what was read through them, end with PtcShutdown().
// Threads    any function from any thread at any time, but for PtcShutdown().
//
// What a thread opens again and again costs a look into its own table; no lock is taken.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ptc/managed_file.h"
#include "util/results.h"

class TgStats;

/// The file called `name`, for reading. `*opened`, unless null, tells whether this very call opened
/// it for the first time. The name of a file is its identity: two spellings are two files.
///
/// A file that cannot be opened is not tried again until PtcShutdown(), unless the reason was a
/// shortage of memory or descriptors. One that was open and cannot be opened again is tried anew
/// by every call.
///
/// Makes a manager for 8 threads and 256 files when there is none.
PtcManagedFile* PtcOpenManaged(const char* name, bool* opened = nullptr);

/// The same, but makes the manager for the runtime's thread count and as many open files as the
/// option "/lumrd/texture/maxfiles" says, 1024 if it says nothing. First come, first served.
PtcManagedFile* PtcOpenForReading(const char* name);

/// The same for callers that need not know what a handle is.
void* PtcOpenHandle(const char* name);
inline PtcManagedFile* PtcFromHandle(void* handle) {
    return static_cast<PtcManagedFile*>(handle);
}

/// Point variables as a file declares them.
struct PtcVariables {
    std::vector<std::string> types;
    std::vector<std::string> names;  ///< as many
};

/// The same as PtcOpenForReading(), and the file's point variables; null for a file without any.
PtcManagedFile* PtcOpenWithVariables(const char* name, PtcVariables* variables);

/// Ends one use of a file by this thread; a file that this thread does not use is left alone. A
/// file that the caller owns alone is deleted. Null is ignored.
void PtcRelease(PtcManagedFile* file);

/// Completes a file: what was written is on disk afterwards and can be read; a transient file
/// stands at its first point. Ends this use in any case.
CloudStatus PtcFinish(PtcManagedFile* file);

/// Makes the caches with these sizes, unless they are there, and decides whether files opened from
/// here on are transient: when `mode` is "transient", byte for byte.
void PtcConfigure(int threads, std::int64_t point_kb, std::int64_t node_kb, const char* mode);

/// Stores how many files were opened, reopened, closed for others and not opened, and the names
/// of those that were. Changes nothing when there is no manager.
void PtcFillFileStats(TgStats* stats);

/// Ends everything: blocks, handles, files. The next open begins anew.
/// Caller: no other thread uses the library; threads may be ending meanwhile.
void PtcShutdown();
