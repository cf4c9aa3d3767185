// The sink behind every writer, the source behind every reader, and the cursor that takes values
// off a byte range and spoils.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "util/base/uncopyable.h"

/// A file that is being written, or something that behaves like one.
///
/// Units      offsets in bytes from the start.
/// Errors     false or -1; Error() then tells the system's reason.
/// Ownership  the bytes handed over are the caller's and are not kept.
/// Threads    one caller at a time.
class ByteSink : public TgUncopyable {
public:
    virtual ~ByteSink() = default;

    /// Writes all of `bytes` at the current position and moves behind them.
    /// False: some or all of them are not written; the position is unspecified.
    [[nodiscard]] virtual bool Write(std::span<const std::byte> bytes) = 0;

    [[nodiscard]] virtual bool Seek(std::int64_t offset) = 0;
    [[nodiscard]] virtual bool SeekToEnd() = 0;

    /// The current position; -1 for something that has none, such as a pipe.
    [[nodiscard]] virtual std::int64_t Tell() = 0;

    /// Gives the file up. False: the system only now told that something was not written.
    [[nodiscard]] virtual bool Close() = 0;

    /// The errno of the first failure; 0 when nothing failed.
    virtual int Error() const = 0;
};

/// A file that is being read, or something that behaves like one.
///
/// Units      offsets in bytes from the start of what is read: of the inflated bytes, for a
///            compressed file.
/// Errors     -1 or false; Error() then tells the system's reason.
/// Threads    one caller at a time.
class ByteSource : public TgUncopyable {
public:
    virtual ~ByteSource() = default;

    /// Fills `bytes` as far as the file reaches and moves behind them. Answers how many were
    /// read, fewer than asked for only at the end or before an error; -1 on an error.
    [[nodiscard]] virtual std::int64_t Read(std::span<std::byte> bytes) = 0;

    [[nodiscard]] virtual bool Seek(std::int64_t offset) = 0;

    /// Bytes of the file as it is stored; -1 when that cannot be known.
    virtual std::int64_t StoredBytes() const = 0;

    /// Whether what is read is not what is stored.
    virtual bool IsCompressed() const = 0;

    /// The errno of the first failure; 0 when nothing failed.
    virtual int Error() const = 0;
};

/// Takes fixed-size values off the front of a byte range, in order.
/// A value that does not fit reads as zero and spoils the cursor for good, so a decoder takes
/// every field first and asks Ok() once, at its end.
class ByteCursor {
public:
    explicit ByteCursor(std::span<const std::byte> bytes) : rest_(bytes) {}

    template <class T>
    T Take() {
        T value{};
        TakeInto(&value, 1);
        return value;
    }

    /// The same for `count` values in a row.
    template <class T>
    void TakeInto(T* values, std::size_t count) {
        static_assert(std::is_trivially_copyable_v<T>);
        if (count > rest_.size() / sizeof(T)) {
            is_spoiled_ = true;
            rest_ = {};
            return;
        }
        if (count == 0) return;
        std::memcpy(values, rest_.data(), count * sizeof(T));
        rest_ = rest_.subspan(count * sizeof(T));
    }

    [[nodiscard]] bool Ok() const { return !is_spoiled_; }
    std::size_t Left() const { return rest_.size(); }

private:
    std::span<const std::byte> rest_;
    bool is_spoiled_ = false;
};
