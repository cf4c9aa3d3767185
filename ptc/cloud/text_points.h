// TextPoints -- runs of points of a text file, at any place.
//
// Where every 256th point begins is learned as points are read: in sequence a file is read once,
// and a jump ahead reads over what lies between. Points at or behind a damaged line cannot be
// found; those before it are read like any others.
//
// Units      point indexes count from 0; offsets in bytes from the start of the (inflated) file.
// Errors     1 for success, 0 for failure. Throws std::bad_alloc when memory runs out. The
//            next read tries again what the system could not read or had no memory for.
// Ownership  borrows the source, and the caller's records and their storage.
// Threads    Begin(): one caller, no other thread inside. Read(): any thread, several at once.
//
// Locks:
//
//   rank  lock   count   guards
//   60    lock_  1 file  what is known of the places; held while a block is read over, not read

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/records.h"
#include "util/base/results.h"
#include "util/base/tg_lock.h"
#include "util/io/random_source.h"

class TextPoints : public TgUncopyable {
public:
    /// The first point of `source` is at `offset`; each has `floats` floats of data. What was
    /// known of another file is forgotten.
    void Begin(RandomSource& source, std::int64_t offset, std::size_t floats);

    /// Fills `count` records from point `first` on. Caller: the header counts these points.
    CloudStatus Read(std::int64_t first, std::int64_t count, PtcPoint* records);

private:
    /// How far a block could be read, and where the point behind that begins.
    struct Stretch {
        std::int64_t points;
        std::int64_t end;
        bool is_unreadable;  ///< for the system: the points that are missing may be there
    };

    std::int64_t Find(std::int64_t block) UTIL_EXCLUDES(lock_);
    void Learn(std::int64_t block, std::int64_t begin) UTIL_EXCLUDES(lock_);
    Stretch ReadBlock(std::int64_t begin, std::int64_t from, std::int64_t until,
                      PtcPoint* records) const;

    // Written by Begin(), while no other thread is inside; read without the lock.
    RandomSource* source_ = nullptr;
    std::size_t floats_ = 0;

    TgMutex lock_;
    std::vector<std::int64_t> begins_ UTIL_GUARDED_BY(lock_);  ///< of the blocks from the first on
    bool is_last_ UTIL_GUARDED_BY(lock_) = false;  ///< what follows the last of them is damaged
};
