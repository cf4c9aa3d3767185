// A gzip file that can be read at any place: entry points into the compressed stream.
//
// Inflating must begin where the compressor began a block, and needs the 32 KB before it. One
// stream, the scout, goes through the file as far as reads want it, and notes such places about
// every megabyte; in a long file the places lie further apart, so that their number stays small.
// Whoever reads where the scout has been begins at the last place before. Streams that have read
// are kept, and go on for whoever wants what comes next: in sequence a file is inflated once.
//
// Units, errors and ownership are those of RandomSource. A stream that is damaged or breaks off
// ends there, and bytes behind its end are ignored. Throws std::bad_alloc when memory runs out; the
// next read tries again.
// Threads    any. Reads where the scout has been run side by side.
//
// Locks:
//
//   rank  lock         count       guards
//   65    scout_lock_  one a file  the scout; reads beyond it wait for each other
//   66    table_lock_  one a file  entries and waiting streams, for as long as one is taken

#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "util/base/tg_lock.h"
#include "util/io/random_source.h"

struct GzipEntry;
class GzipStream;

class GzipIndex : public RandomSource {
public:
    static constexpr std::int64_t kSpan = 1 << 20;
    static constexpr std::size_t kMostEntries = 256;  ///< of 32 KB

    /// Takes `descriptor`, open for reading, and closes it at its end. `span`: least inflated bytes
    /// between two places that are noted, as long as there are no more than kMostEntries.
    explicit GzipIndex(int descriptor, std::int64_t span = kSpan);
    ~GzipIndex() override;

    std::int64_t ReadAt(std::int64_t offset, std::span<std::byte> bytes) override;

private:
    using Entry = std::shared_ptr<const GzipEntry>;
    using Stream = std::unique_ptr<GzipStream>;

    std::int64_t ReadPiece(std::int64_t offset, std::span<std::byte> bytes)
        UTIL_EXCLUDES(scout_lock_, table_lock_);
    bool ReadWithScout(std::int64_t offset, std::span<std::byte> bytes, std::int64_t* read)
        UTIL_EXCLUDES(scout_lock_, table_lock_);
    void Note(const GzipStream& scout) UTIL_REQUIRES(scout_lock_) UTIL_EXCLUDES(table_lock_);
    void SpreadEntries() UTIL_REQUIRES(table_lock_);
    Stream TakeStream(std::int64_t offset) UTIL_EXCLUDES(table_lock_);
    void Keep(Stream stream) UTIL_EXCLUDES(table_lock_);
    Entry LastEntry() UTIL_EXCLUDES(table_lock_);
    Stream Begin(const GzipEntry& entry) const;

    const int descriptor_;

    // Atomic: how far the scout has been; written under its lock. Where a read begins depends on
    // it, what it answers does not.
    std::atomic<std::int64_t> frontier_{0};

    TgMutex scout_lock_;
    Stream scout_ UTIL_GUARDED_BY(scout_lock_);  ///< null: begins anew at the last entry

    TgMutex table_lock_;
    std::vector<Entry> entries_ UTIL_GUARDED_BY(table_lock_);   ///< by offset; the first at 0
    std::int64_t span_ UTIL_GUARDED_BY(table_lock_);            ///< least bytes between two entries
    std::vector<Stream> waiting_ UTIL_GUARDED_BY(table_lock_);  ///< that used last at the end
};
