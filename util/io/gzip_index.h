// `GzipIndex`: reads a gzip file at any offset, through entry points into the compressed stream.
//
// Inflating can only begin at the start of a compressed block, and needs the 32 KB of inflated
// bytes before it. One stream, the scout, inflates the file from its start as far as any read has
// asked for. About every megabyte it stores an entry: the start of a block and the 32 KB before it.
// In a long file the entries are further apart, so that at most kMostEntries are stored. A read of
// what the scout has passed begins at the last entry before the wanted offset. Streams are kept
// after a read and continue for a later one, so reading a file in sequence inflates it once.
//
// Units      those of RandomSource.
// Errors     those of RandomSource. Where the stream is damaged or cut off the file ends; bytes
//            behind the stream's end are ignored. Throws std::bad_alloc when memory runs out; the
//            next read tries again.
// Ownership  owns the descriptor and closes it.
// Threads    any. Reads of what the scout has passed run in parallel.
//
// Locks:
//
//   rank  lock         count       guards
//   65    scout_lock_  one a file  the scout; reads beyond it wait for each other
//   66    table_lock_  one a file  entries and waiting streams; never held while inflating

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
    static constexpr std::size_t kMostEntries = 256;  ///< of 32 KB each

    /// `descriptor`: open for reading. `span`: how many inflated bytes lie at least between two
    /// entries; doubled whenever there are more than kMostEntries.
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

    // Atomic: how far the scout has come; written under its lock. A reader that sees an old value
    // may read with another stream than it would otherwise; the bytes are the same.
    std::atomic<std::int64_t> frontier_{0};

    TgMutex scout_lock_;
    Stream scout_ UTIL_GUARDED_BY(scout_lock_);  ///< null: begins again at the last entry

    TgMutex table_lock_;
    std::vector<Entry> entries_ UTIL_GUARDED_BY(table_lock_);   ///< by offset; the first at 0
    std::int64_t span_ UTIL_GUARDED_BY(table_lock_);            ///< least bytes between two entries
    std::vector<Stream> waiting_ UTIL_GUARDED_BY(table_lock_);  ///< the one used last is at the end
};
