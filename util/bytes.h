// The sink behind every writer: where bytes go, on a disk or in a test's memory.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// A file that is being written, or something that behaves like one.
///
/// Units      offsets in bytes from the start.
/// Errors     false or -1; Error() then tells the system's reason.
/// Ownership  the bytes handed over are the caller's and are not kept.
/// Threads    one caller at a time.
class ByteSink {
public:
    ByteSink() = default;
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;
    virtual ~ByteSink() = default;

    /// Writes all of `bytes` at the current position and moves behind them.
    /// False: some or all of them are not written; the position is unspecified.
    [[nodiscard]] virtual bool Write(std::span<const std::byte> bytes) = 0;

    [[nodiscard]] virtual bool Seek(std::int64_t offset) = 0;
    [[nodiscard]] virtual bool SeekToEnd() = 0;

    /// The current position; -1 for something that has none, such as a pipe.
    [[nodiscard]] virtual std::int64_t Tell() const = 0;

    /// Gives the file up. False: the system only now told that something was not written.
    [[nodiscard]] virtual bool Close() = 0;

    /// The errno of the first failure; 0 when nothing failed.
    virtual int Error() const = 0;
};
