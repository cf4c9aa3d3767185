// `ByteSink` behind every writer, `ByteSource` behind every reader, and `ByteCursor`, which decodes
// values from bytes. Each says its units, errors, ownership and threads itself.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "util/base/uncopyable.h"

struct FileStamp;

/// A file that is written, or something that behaves like one.
///
/// Units      offsets in bytes from the start.
/// Errors     false or -1; Error() then returns the errno value.
/// Ownership  the bytes passed in belong to the caller and are copied or written before the return.
/// Threads    one caller at a time.
class ByteSink : public TgUncopyable {
public:
    virtual ~ByteSink() = default;

    /// Writes all of `bytes` at the current position and moves the position behind them.
    /// False: some or all of them are not written, and the position is unspecified.
    [[nodiscard]] virtual bool Write(std::span<const std::byte> bytes) = 0;

    [[nodiscard]] virtual bool Seek(std::int64_t offset) = 0;
    [[nodiscard]] virtual bool SeekToEnd() = 0;

    /// The current position; -1 for something that has none, such as a pipe.
    [[nodiscard]] virtual std::int64_t Tell() = 0;

    /// Closes the file. False: the system reports only here that it has not written everything.
    [[nodiscard]] virtual bool Close() = 0;

    /// The errno of the first failure; 0 when nothing failed.
    virtual int Error() const = 0;
};

/// A file that is read, or something that behaves like one.
///
/// Units      offsets in bytes from the start of the file; in a compressed file, offsets in the
///            inflated bytes.
/// Errors     -1 or false; Error() then returns the errno value.
/// Ownership  the bytes read into belong to the caller.
/// Threads    one caller at a time.
class ByteSource : public TgUncopyable {
public:
    virtual ~ByteSource() = default;

    /// Reads up to as many bytes as `bytes` holds and moves the position behind them. Returns how
    /// many were read; fewer than wanted only at the end of the file or before an error; -1 on an
    /// error.
    [[nodiscard]] virtual std::int64_t Read(std::span<std::byte> bytes) = 0;

    [[nodiscard]] virtual bool Seek(std::int64_t offset) = 0;

    /// The size of the stored file in bytes; -1 when it is unknown.
    virtual std::int64_t StoredBytes() const = 0;

    /// Hands its file over: the descriptor, which the caller closes, and what `*stamp` was when the
    /// file was opened. -1: it has none. Nothing can be read afterwards.
    [[nodiscard]] virtual int TakeFile(FileStamp* stamp) {
        (void)stamp;
        return -1;
    }

    /// The descriptor of a regular file whose bytes are read as they are stored; -1: there is none.
    /// The source keeps it.
    virtual int StoredFile() const { return -1; }

    /// Whether the stored bytes are decompressed while they are read.
    virtual bool IsCompressed() const = 0;

    /// The errno of the first failure; 0 when nothing failed.
    virtual int Error() const = 0;
};

/// Decodes fixed-size values from a range of bytes, front to back. A value that does not fit reads
/// as zero, and from then on all values do and Ok() is false. So a decoder takes all its fields and
/// checks Ok() once, at its end.
///
/// Units      bytes.
/// Errors     Ok().
/// Ownership  borrows the bytes.
/// Threads    one caller at a time.
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
