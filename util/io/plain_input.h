// `PlainInput`: reads a file as it is stored, or inflates it when it is a gzip file.
//
// Units      those of ByteSource.
// Errors     those of ByteSource. A gzip file that is damaged or cut off gives EIO, after the bytes
//            before the damage. Throws std::bad_alloc when memory runs out.
// Ownership  owns its descriptor; the destructor closes it.
// Threads    one caller at a time.

#pragma once

#include <memory>
#include <vector>

#include "util/io/bytes.h"
#include "util/io/file_stamp.h"

class GzipStream;

class PlainInput : public ByteSource {
public:
    PlainInput();
    ~PlainInput() override;

    /// Opens `name`. With `allow_gzip`, a file that begins with gzip's magic bytes is inflated.
    /// Caller: this object has no open file.
    [[nodiscard]] bool Open(const char* name, bool allow_gzip);

    std::int64_t Read(std::span<std::byte> bytes) override;
    bool Seek(std::int64_t offset) override;
    std::int64_t StoredBytes() const override { return stored_bytes_; }
    int TakeFile(FileStamp* stamp) override;
    int StoredFile() const override { return stream_ || stored_bytes_ < 0 ? -1 : descriptor_; }
    bool IsCompressed() const override { return stream_ != nullptr; }
    int Error() const override { return error_; }

private:
    bool Fail(int error);
    bool MoveTo(std::int64_t place);
    bool LookForGzip();
    std::int64_t ReadOnce(std::span<std::byte> bytes);
    std::int64_t ReadStored(std::span<std::byte> bytes);
    void BeginStream();

    int descriptor_ = -1;
    FileStamp stamp_;
    std::int64_t stored_bytes_ = -1;
    std::int64_t stored_place_ = 0;  // where the next stored byte is
    int error_ = 0;
    std::vector<std::byte> ahead_;  // bytes already read from a pipe, which cannot seek back

    // For a gzip file that is inflated; otherwise unused.
    std::unique_ptr<GzipStream> stream_;
    std::int64_t position_ = 0;
};
