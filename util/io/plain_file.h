// `PlainFile`: a file on disk that is written at any position; a mode word says how it is opened.

#pragma once

#include "util/io/bytes.h"

/// Bits of the mode word.
enum PlainFileMode : unsigned {
    kPlainRead = 0x01,
    kPlainWrite = 0x02,
    kPlainTruncate = 0x04,  ///< part of every write mode: empties an existing file
    kPlainBinary = 0x10,
    kPlainWriteThrough = 0x1000,  ///< part of every write mode: no buffer of our own
};

/// A file on disk. Every write reaches the operating system before Write() returns, so a process
/// that is killed later loses none of it; callers collect small pieces themselves.
///
/// A write that fails at a file size limit or on a closed pipe raises no signal in the host.
///
/// Units      those of ByteSink.
/// Errors     those of ByteSink.
/// Ownership  owns its descriptor; the destructor closes it.
/// Threads    one caller at a time.
class PlainFile : public ByteSink {
public:
    PlainFile() = default;
    ~PlainFile() override;

    /// Opens `name` for writing and creates or empties it. Caller: this object has no open file.
    [[nodiscard]] bool Open(const char* name, unsigned mode);

    bool Write(std::span<const std::byte> bytes) override;
    bool Seek(std::int64_t offset) override;
    bool SeekToEnd() override;
    std::int64_t Tell() override;
    bool Close() override;
    int Error() const override { return error_; }

private:
    bool Fail();

    int descriptor_ = -1;
    int error_ = 0;
};
