// The process's settings: configuration, threads, memory, messages, and the end of it all.
//
// Units      memory in KB of 1024 bytes.
// Errors     none. Nothing is thrown.
// Ownership  a message handler must stay loaded until it is replaced.
// Threads    any function from any thread at any time, except PtcShutdown().

#pragma once

#include <cstdint>

#include "ptc/api.h"

/// Reads the chain of configuration files ("lumenarc.ini"), once per process, and adds the messages
/// that it disables. Without this call all options have their defaults.
///
/// Entries "/dirmap/zone" move folders: whatever file the library is told to open or to make from
/// then on is looked up there once, by its name, and is known and told by the name of its place.
/// So the names that several sites have for one file lead to one object. Other names are unchanged,
/// and so are those of temporary folders.
PTC_API void PtcLoadConfiguration() noexcept;

/// How many threads share tables and caches that are sized by that number. Below 1 counts as 1;
/// as many as the machine runs at once until it is set. Takes effect for what is made later.
PTC_API void PtcSetThreadCount(int count) noexcept;
PTC_API int PtcGetThreadCount() noexcept;

/// Receives each message: its code, its severity (0 information, 1 warning, 2 error, 3 severe) and
/// its text. The library passes on messages of severity 1 and 2 only. The return value is unused.
using PtcMessageHandler = int (*)(int code, int severity, const char* text);

/// Installs `handler`; null installs the default one, which prints on standard error. The handler
/// runs in the thread that reports, with no lock of the library held; it may use the library, but
/// for PtcShutdown(), and throws nothing.
PTC_API void PtcSetMessageHandler(PtcMessageHandler handler) noexcept;

/// Makes the caches with these sizes, unless they exist, and decides whether files opened from
/// here on are transient: when `mode` is "transient", byte for byte. The points of such a file are
/// read at once and kept in memory. Numbers below 1 mean the thread count above and the sizes that
/// the options "/lumrd/pointmemory" and "/lumrd/octreememory" name, by default 10240 KB.
///
/// The sizes count for each thread; with the option "/lumrd/constantmemorylimit" for all together.
/// A block counts as 13312 bytes of points or 1216 bytes of nodes, whatever its file's data takes.
PTC_API void PtcConfigure(int threads, std::int64_t point_kb, std::int64_t node_kb,
                          const char* mode) noexcept;

/// Closes all files and frees all blocks. The next open begins anew. Handles that were not released
/// stay valid: they answer no lookup, and releasing them does no harm.
/// Caller: no other thread uses the library; threads may be ending meanwhile.
PTC_API void PtcShutdown() noexcept;
