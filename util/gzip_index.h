// A gzip file that can be read at any place: entry points into the compressed stream.
//
// Inflating must begin where the compressor began a block, and needs the 32 KB before it. One pass
// over the file, made by the first read, notes such places about every megabyte; a read then
// inflates a megabyte at most before it arrives.
//
// Units, errors and ownership are those of RandomSource.
// Threads    any.
//
// Locks:
//
//   rank  lock          count         guards
//   65    build_lock_   one a file    the making of the index; reads that come meanwhile wait

#pragma once

#include <array>
#include <atomic>
#include <vector>

#include "util/random_source.h"
#include "util/tg_lock.h"

class GzipIndex : public RandomSource {
public:
    /// Takes `descriptor`, open for reading, and closes it at its end.
    explicit GzipIndex(int descriptor) : descriptor_(descriptor) {}
    ~GzipIndex() override;

    std::int64_t ReadAt(std::int64_t offset, std::span<std::byte> bytes) override;
    std::int64_t Bytes() const override { return bytes_.load(std::memory_order_relaxed); }

private:
    static constexpr std::size_t kWindow = 32768;

    /// A place where inflating may begin.
    struct Entry {
        std::int64_t out;               ///< offset in the inflated bytes
        std::int64_t in;                ///< offset in the file of the first whole byte to feed
        int bits;                       ///< bits of the byte before it that belong to the block
        std::vector<std::byte> window;  ///< the inflated bytes before; empty at a stream's start
    };

    class Inflater;

    bool IsBuilt() UTIL_EXCLUDES(build_lock_);
    bool Build() UTIL_REQUIRES(build_lock_);

    const int descriptor_;
    std::atomic<std::int64_t> bytes_{-1};
    std::atomic<bool> is_built_{false};

    TgMutex build_lock_;
    bool is_tried_ UTIL_GUARDED_BY(build_lock_) = false;

    // Written under the lock, by the build; read without it once is_built_ is set.
    std::vector<Entry> entries_;
};
