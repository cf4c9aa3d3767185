// The plain file for reading: from the system as it is, or inflated by zlib when it is a gzip file.
//
// Units, errors, ownership and threads are those of ByteSource; it closes itself when destroyed.

#pragma once

#include "util/bytes.h"

class PlainInput : public ByteSource {
public:
    PlainInput() = default;
    ~PlainInput() override;

    /// Opens `name`. With `allow_gzip` a gzip file is read through decompression, and any other
    /// as it is. Caller: no file is open in this object.
    [[nodiscard]] bool Open(const char* name, bool allow_gzip);

    std::int64_t Read(std::span<std::byte> bytes) override;
    bool Seek(std::int64_t offset) override;
    std::int64_t StoredBytes() const override { return stored_bytes_; }
    bool IsCompressed() const override { return is_compressed_; }
    int Error() const override { return error_; }

private:
    bool Fail(int error);

    int descriptor_ = -1;     // of a file that is read as it is
    void* stream_ = nullptr;  // zlib's, of a file that may be inflated
    std::int64_t stored_bytes_ = -1;
    bool is_compressed_ = false;
    int error_ = 0;
};
