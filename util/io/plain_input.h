// The plain file for reading: from the system as it is, or inflated when it is a gzip file.
//
// Units, ownership and threads are those of ByteSource; it closes itself when destroyed. So are
// errors, and a gzip file that is damaged or breaks off is one: EIO, behind what came before.
// Memory that cannot be had for inflating throws std::bad_alloc.

#pragma once

#include <memory>
#include <vector>

#include "util/io/bytes.h"

class GzipStream;

class PlainInput : public ByteSource {
public:
    PlainInput();
    ~PlainInput() override;

    /// Opens `name`. With `allow_gzip` a gzip file is read through decompression, and any other
    /// as it is. Caller: no file is open in this object.
    [[nodiscard]] bool Open(const char* name, bool allow_gzip);

    std::int64_t Read(std::span<std::byte> bytes) override;
    bool Seek(std::int64_t offset) override;
    std::int64_t StoredBytes() const override { return stored_bytes_; }
    bool IsCompressed() const override { return stream_ != nullptr; }
    int Error() const override { return error_; }

private:
    bool Fail(int error);
    bool LookForGzip();
    std::int64_t ReadStored(std::span<std::byte> bytes);
    void BeginStream();

    int descriptor_ = -1;
    std::int64_t stored_bytes_ = -1;
    int error_ = 0;
    std::vector<std::byte> ahead_;  // of something that cannot go back: what was looked at

    // Of a gzip file that is inflated.
    std::unique_ptr<GzipStream> stream_;
    std::int64_t position_ = 0;
};
