// `RandomSource`: reads a file at any offset from many threads, as it is stored or inflated.
//
// Units      offsets in bytes; in a gzip file, offsets in the inflated bytes.
// Errors     -1 when the system could not read, and errno says why; another try may succeed.
//            Fewer bytes than wanted only where the file ends, or a gzip file is damaged or cut
//            off.
// Ownership  a source owns its descriptor and closes it.
// Threads    ReadAt() from any thread, several at once.

#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "util/base/uncopyable.h"
#include "util/io/bytes.h"

class RandomSource : public TgUncopyable {
public:
    virtual ~RandomSource() = default;

    /// Reads up to as many bytes as `bytes` holds from `offset` on; returns how many were read.
    [[nodiscard]] virtual std::int64_t ReadAt(std::int64_t offset, std::span<std::byte> bytes) = 0;
};

/// Reads the file of `descriptor`, with `is_gzip` as a gzip file. Closes the descriptor also when
/// it throws std::bad_alloc.
std::unique_ptr<RandomSource> NewRandomSource(int descriptor, bool is_gzip);

/// Reads a random source from front to back, beginning at an offset. Borrows the source.
/// Threads: one caller at a time.
class RandomSourceReader : public ByteSource {
public:
    RandomSourceReader(RandomSource& source, std::int64_t offset)
        : source_(source), offset_(offset) {}

    std::int64_t Read(std::span<std::byte> bytes) override {
        const std::int64_t read = source_.ReadAt(offset_, bytes);
        if (read > 0) offset_ += read;
        if (read < 0) error_ = errno ? errno : EIO;
        return read;
    }
    bool Seek(std::int64_t offset) override {
        offset_ = offset;
        return true;
    }
    std::int64_t StoredBytes() const override { return -1; }
    bool IsCompressed() const override { return false; }
    int Error() const override { return error_; }

private:
    RandomSource& source_;
    std::int64_t offset_;
    int error_ = 0;
};
