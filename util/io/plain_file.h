// The plain file under the token layer: opened by a mode word, written at any position.

#pragma once

#include "util/io/bytes.h"

/// Bits of the mode word.
enum PlainFileMode : unsigned {
    kPlainRead = 0x01,
    kPlainWrite = 0x02,
    kPlainTruncate = 0x04,  ///< part of every write mode: an older file's content goes
    kPlainBinary = 0x10,
    kPlainWriteThrough = 0x1000,  ///< part of every write mode: what is written is the system's
};

/// A file on disk. Every write goes to the operating system before it returns, so that a process
/// killed afterwards loses nothing of it; callers collect small pieces themselves.
///
/// A write that the system refuses fails with the system's reason; it raises no signal in the
/// host, neither for a file size limit nor for a closed pipe.
///
/// Units, errors, ownership and threads are those of ByteSink; it closes itself when destroyed.
class PlainFile : public ByteSink {
public:
    PlainFile() = default;
    ~PlainFile() override;

    /// Opens `name` for writing, making or emptying it. Caller: no file is open in this object.
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
