// The access library: point cloud files, their points and octree nodes, for many threads at once.
//
//   PtcConfigure(8, 65536, 65536, nullptr);             // once, if the defaults do not fit
//   const PtcFile file("a.ptc");                        // each thread for itself
//   const PtcPoint* point = PtcGetPoint(file.Get(), 17);
//   if (!point) std::fputs(PtcLastFailure().text, stderr);
//   PtcShutdown();                                      // once, when no thread reads any more
//
// examples/read_cloud.cpp uses most of the library.
//
// Units      those of ptc/records.h.
// Errors     null, false or fewer than asked for; PtcLastFailure() (ptc/failure.h) says why.
//            PtcFinish() answers 1 for success and 0 for failure. The library throws nothing.
//            Messages go to the handler of ptc/runtime.h, by default to standard error:
//              T43050  the file is compressed, so that an octree in it is not used
//              T43051  a block of points could not be read, once for each attempt
//              T43052  the children of a node could not be read, likewise
// Ownership  a handle is one use of a file by the thread that opened it. That thread ends each use
//            with PtcRelease() or PtcFinish(); uses that are left end with the thread. Until then
//            other threads may read through the handle, too. Records belong to the library.
// Threads    any function from any thread at any time.
//
// What a thread opens or reads again and again is found in its own table, without a lock. Blocks
// are 256 points and the children of one node, so neighbours in the file are read together. A
// thread holds a few blocks of its own, as many as PtcConfigure()'s thread count provides for.
// When more threads than that hold all blocks, a lookup reads into a block of the thread's own: it
// never fails for that reason, it only costs a read (PtcCacheNumbers::uncached counts these).

#pragma once

#include <cstdint>
#include <utility>

#include "ptc/api.h"
#include "ptc/failure.h"
#include "ptc/header.h"
#include "ptc/held_blocks.h"
#include "ptc/records.h"
#include "ptc/runtime.h"

class PtcManagedFile;

// --- opening and releasing ---

/// Opens the file called `name` for reading. `*opened`, unless null: whether this very call opened
/// it for the first time. The name of a file is its identity: two spellings are two files. The
/// configuration's zones are applied to a name first (PtcLoadConfiguration() in ptc/runtime.h), by
/// all functions that open, so that names of different zones may be one file.
///
/// A file that cannot be opened is not tried again until PtcShutdown(), unless the reason was a
/// shortage of memory or descriptors. A file that was open and cannot be opened again is tried by
/// every call. A file that changed on disk is read anew after it was closed. Reading a file while
/// it is overwritten or cut off gives undefined values: replace files, do not change them.
///
/// Makes a file manager for 8 threads and 256 files when there is none.
PTC_API PtcManagedFile* PtcOpenManaged(const char* name, bool* opened = nullptr);

/// The same, but makes the manager for the thread count of ptc/runtime.h and as many open files as
/// the option "/lumrd/texture/maxfiles" says, by default 1024. The first call decides.
PTC_API PtcManagedFile* PtcOpenForReading(const char* name);

/// The same for callers that need not know what a handle is.
PTC_API void* PtcOpenHandle(const char* name);
inline PtcManagedFile* PtcFromHandle(void* handle) {
    return static_cast<PtcManagedFile*>(handle);
}

/// The same as PtcOpenForReading(), and stores the file's point variables, unless `variables` is
/// null. Null for a file without point variables.
PTC_API PtcManagedFile* PtcOpenWithVariables(const char* name, PtcVariables* variables);

/// Opens the file that has this name now, for the caller alone: no other opening of the name is
/// answered with it, it does not count in the limit of open files, and a failure to open it is not
/// remembered. It belongs to no thread: any thread reads through it while it is open, and any one
/// ends it with PtcRelease(), once. PtcShutdown() leaves it open, and no file that is opened like
/// this is transient. Its blocks come from the caches, as those of other files.
PTC_API PtcManagedFile* PtcOpenAlone(const char* name) noexcept;

/// Ends one use of a file by this thread. Does nothing for null and for a file that this thread
/// does not use. Deletes a file that the caller owns alone. Harmless after PtcShutdown().
PTC_API void PtcRelease(PtcManagedFile* file) noexcept;

/// Completes a file and ends this use of it. One that was written is whole on disk afterwards and
/// can be read. One that was read is opened anew, so that a replaced file is read anew; while
/// others use it, that happens when the last of them has released it. A transient file is set back
/// to its first point. Answers 1 for success and 0 for failure. A thread that does not use the file
/// may finish it, too, and ends no use.
PTC_API std::int32_t PtcFinish(PtcManagedFile* file);

/// One use of a file for a scope. Make and destroy it in the same thread.
class PtcFile {
public:
    PtcFile() = default;
    explicit PtcFile(const char* name) : file_(PtcOpenForReading(name)) {}
    PtcFile(PtcFile&& other) noexcept : file_(std::exchange(other.file_, nullptr)) {}
    PtcFile& operator=(PtcFile&& other) noexcept {
        std::swap(file_, other.file_);
        return *this;
    }
    ~PtcFile() { PtcRelease(file_); }

    /// False: the file could not be opened; PtcLastFailure() says why.
    explicit operator bool() const { return file_ != nullptr; }
    PtcManagedFile* Get() const { return file_; }

private:
    PtcManagedFile* file_ = nullptr;
};

// --- points ---

/// Point `index` of `file`, valid until this thread's next call of this function or of
/// PtcGetPoints(), for any file. Null: there is no such point, which counts as no lookup, or it
/// cannot be read.
///
/// A transient file answers its points in their order: the index only decides which of them are
/// kept together, so such a file is read once, from its first point to its last.
[[gnu::visibility("hidden")]] inline const PtcPoint* PtcGetPoint(PtcManagedFile* file,
                                                                 std::int64_t index) {
    return ptc_held::Get(file, index);
}

/// Copies `count` points from point `first` on into `arrays`. Answers how many were copied: fewer
/// than `count` when the file ends before or a block cannot be read, and then PtcLastFailure() says
/// why. Each block of 256 points counts as one lookup.
PTC_API std::int64_t PtcGetPoints(PtcManagedFile* file, std::int64_t first, std::int64_t count,
                                  const PtcPointArrays& arrays);
