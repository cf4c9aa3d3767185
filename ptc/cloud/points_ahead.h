// PointsAhead -- lets a run of points that is asked for block by block be read in larger pieces.
//
// While one lives, a block of the run that its thread reads from a plain binary file takes the
// bytes of the blocks behind it along, and these are then decoded from there. A run from the
// system's page cache takes a tenth less time, bench/rows/reading.cpp.
//
// Units      offsets and sizes in bytes.
// Errors     none: what cannot be read ahead is read as it would be without this object.
// Ownership  owns what was read ahead, a few blocks. Borrows the source.
// Threads    lives on one thread's stack, and serves that thread only.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "util/base/uncopyable.h"
#include "util/io/random_source.h"

class PointsAhead : public TgUncopyable {
public:
    static constexpr std::int64_t kMost = 65536;  ///< bytes that are read at a time

    /// `end`: the first point behind the run.
    [[nodiscard]] explicit PointsAhead(std::int64_t end) : end_(end), outer_(current) {
        current = this;
    }
    ~PointsAhead() { current = outer_; }

    /// The thread's innermost one; null: its reads are no run.
    static PointsAhead* Current() { return current; }

    /// The first point behind the run.
    std::int64_t End() const { return end_; }

    /// `wanted` bytes of `source` from `offset` on. If they were not read before, they are, and
    /// with those behind them `most`, kMost or fewer. Valid until the next call. Null: the caller
    /// reads them itself; from the first failure on that is always so, because its message may lead
    /// to anything.
    const std::byte* Find(RandomSource& source, std::int64_t offset, std::size_t wanted,
                          std::int64_t most);

private:
    static inline constinit thread_local PointsAhead* current = nullptr;

    const std::int64_t end_;
    PointsAhead* const outer_;
    bool has_failed_ = false;

    const RandomSource* source_ = nullptr;
    std::unique_ptr<std::byte[]> bytes_;
    std::int64_t begin_ = 0;  ///< offset in the source of the first byte
    std::int64_t count_ = 0;  ///< how many bytes were read
};
