// Reading a file at any place from many threads: as it is stored, or inflated.
//
// Units      offsets in bytes of what is read: of the inflated bytes, for a gzip file.
// Errors     -1, and errno says why the system could not read: worth another try. Fewer bytes than
//            asked for only where the file ends, or where a gzip file is damaged or breaks off.
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

    /// Fills `bytes` from `offset` on as far as the file reaches; answers how many were read.
    [[nodiscard]] virtual std::int64_t ReadAt(std::int64_t offset, std::span<std::byte> bytes) = 0;
};

/// Opens `name` as it is stored, or as a gzip file with `is_gzip`. Null on failure; errno says why.
std::unique_ptr<RandomSource> OpenRandomSource(const char* name, bool is_gzip);

/// A stretch of a random source that is read from front to back. Borrows the source.
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
