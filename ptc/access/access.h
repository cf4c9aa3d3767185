// The access library: point cloud files, their points and octree nodes, for many threads at once.
//
// This header is all that a program needs; examples/read_cloud.cpp uses most of it. In short:
//
//   PtcConfigure(8, 65536, 65536, nullptr);             // once, if the defaults do not fit
//   PtcManagedFile* file = PtcOpenForReading("a.ptc");  // each thread for itself
//   const PtcPoint* point = PtcGetPoint(file, 17);      // good until the thread's next one
//   PtcRelease(file);                                   // the same thread
//   PtcShutdown();                                      // once, when no thread reads any more
//
// Units      memory in KB of 1024 bytes; those of records in ptc/format/records.h.
// Errors     null, or false, for what cannot be had: a file that cannot be opened, a record that
//            cannot be read, memory that is short. Nothing is thrown. What goes to the message
//            reporter, on standard error unless a handler is set (util/host/message.h):
//              T43050  the file is compressed, so that an octree in it is not used
//              T43051  a block of points could not be read, once for each attempt
//              T43052  the children of a node could not be read, likewise
//            PtcFinish() answers 1 for success and 0 for failure, as the writer does.
// Ownership  a handle is one use of a file by the thread that opened it. That thread gives each use
//            back with PtcRelease() or PtcFinish(); what it keeps ends with the thread. Until then
//            other threads may read through the handle, too. Records belong to the caches.
// Threads    any function from any thread at any time, but for PtcShutdown(). Each thread holds a
//            few blocks of its own, as many as PtcConfigure()'s thread count provides for: more
//            threads than that may meet caches whose blocks are all held, and get null.
//
// What a thread opens or reads again and again costs a look into its own table; no lock is taken.
// Blocks are 256 points and the children of one node, so neighbours in the file come together.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ptc/format/records.h"
#include "util/base/results.h"

class PtcManagedFile;
class TgStats;

// --- opening and releasing ---

/// The file called `name`, for reading. `*opened`, unless null, tells whether this very call opened
/// it for the first time. The name of a file is its identity: two spellings are two files.
///
/// A file that cannot be opened is not tried again until PtcShutdown(), unless the reason was a
/// shortage of memory or descriptors. One that was open and cannot be opened again is tried anew
/// by every call. One that has changed on disk is read anew after it was closed for others. What is
/// written over, or cut off, while it is open may answer anything: files are replaced, not changed.
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

/// Variables as a file declares them, in the order of their floats.
struct PtcVariables {
    std::vector<std::string> types;
    std::vector<std::string> names;  ///< as many
};

/// The same as PtcOpenForReading(), and stores the file's point variables, unless `variables` is
/// null. Null for a file without any.
PtcManagedFile* PtcOpenWithVariables(const char* name, PtcVariables* variables);

/// Ends one use of a file by this thread; a file that this thread does not use is left alone. A
/// file that the caller owns alone is deleted. Null is ignored.
void PtcRelease(PtcManagedFile* file);

/// Completes a file: what was written is on disk afterwards and can be read; a transient file
/// stands at its first point. Ends this use in any case.
CloudStatus PtcFinish(PtcManagedFile* file);

// --- what a file holds ---

/// A file's header. Matrices are row-major, for row vectors.
struct PtcHeader {
    std::int64_t points;
    std::int64_t nodes;  ///< of the octree; 0: the file has none
    float box[6];        ///< around all points' spheres: minimum x y z, maximum x y z
    float largest_radius;
    float world_to_eye[16];
    float world_to_ndc[16];
    float format[3];  ///< x resolution, y resolution, pixel aspect ratio
    std::int32_t floats_per_point;
    std::int32_t floats_per_node;
};

/// Stores the file's header. False: `file` is null.
bool PtcGetHeader(const PtcManagedFile* file, PtcHeader* header);

/// For each of `count` names: how many floats of a point's data stand before the variable so
/// called, and how many it takes. -1, and no size, for a name that is not declared; names are
/// compared byte by byte. False, and nothing stored: `file` is null or not open for reading.
bool PtcFindVariables(const PtcManagedFile* file, int count, const char* const* names,
                      std::int32_t* offsets, std::int32_t* sizes);

// --- reading ---

/// Point `index` of `file`, good until this thread's next call of this function, for whatever file.
/// Null: there is no such point, which is silent and counts as no lookup; or it cannot be read, or
/// every block is held by other threads.
///
/// A transient file hands out its points one behind the other: the index only decides which of them
/// are kept together, so such a file is read once, from its first point to its last.
const PtcPoint* PtcGetPoint(PtcManagedFile* file, std::int64_t index);

/// The eight children of the node at `reference`, one for each octant, good until this thread's
/// next call of this function or of PtcGetRoot(). `children`: the eight references that the node's
/// own record holds; those that are 0 answer zeroed records. Null: as above; also when all are 0.
///
/// References come from the file and are checked, so that children stand before their parents and
/// no path through a tree is endless. Two nodes may still share children in a file that lies: who
/// walks a whole tree counts its steps and stops after as many as the header has nodes.
const PtcNode* PtcGetNodeChildren(PtcManagedFile* file, std::int64_t reference,
                                  const std::int64_t* children);

/// The octree's root, good as long as children are, and its reference at `*reference`, unless null.
/// Null, and not a word: the file has no octree. Else as above.
const PtcNode* PtcGetRoot(PtcManagedFile* file, std::int64_t* reference = nullptr);

// --- the process ---

/// Makes the caches with these sizes, unless they are there, and decides whether files opened from
/// here on are transient: when `mode` is "transient", byte for byte. Such a file's points are read
/// at once and kept in memory. Numbers below 1 mean the runtime's thread count and the sizes that
/// the options "/lumrd/pointmemory" and "/lumrd/octreememory" name, 10240 KB if they say nothing.
///
/// The sizes count for each thread; with the option "/lumrd/constantmemorylimit" for all together.
/// A block counts as 13312 bytes of points or 1216 bytes of nodes, whatever its file's data takes.
void PtcConfigure(int threads, std::int64_t point_kb, std::int64_t node_kb, const char* mode);

/// Lookups, hits, misses, reading times and memory of all threads together, as a short table for
/// people and as one XML document. Empty when there are no caches, or no memory.
/// Caller: no thread is inside PtcGetPoint() or its siblings.
std::string PtcCacheTable();
std::string PtcCacheXml();

/// Stores how many files were opened, reopened, closed for others and not opened, and the names
/// of those that were. Changes nothing when there is no manager.
void PtcFillFileStats(TgStats* stats);

/// Ends everything: blocks, handles, files. The next open begins anew.
/// Caller: no other thread uses the library; threads may be ending meanwhile.
void PtcShutdown();
