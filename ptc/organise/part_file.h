// PartFile: chains of records in a file without a name, for what does not fit memory.
//
// The file lies in the folder that TMPDIR names, or in /tmp. It never has a name where the file
// system can do that, and loses it at once elsewhere, so a killed process leaves nothing behind.
//
// Units      sizes in bytes; a chunk is a number of whole records.
// Errors     throws OrganiseError, which names the folder, and std::bad_alloc.
// Ownership  owns the file, which is made with the first chunk. Chains are numbers.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "util/base/uncopyable.h"

/// Records one behind the other: all chunks are full but the last one.
struct PartChain {
    static constexpr std::uint32_t kNone = UINT32_MAX;

    std::uint32_t first = kNone;
    std::uint32_t last = kNone;
    std::int64_t records = 0;
};

class PartFile : public TgUncopyable {
public:
    PartFile(std::size_t record_bytes, std::size_t chunk_records)
        : record_bytes_(record_bytes), chunk_records_(chunk_records) {}
    ~PartFile();

    std::size_t RecordBytes() const { return record_bytes_; }
    std::size_t ChunkBytes() const { return record_bytes_ * chunk_records_; }
    std::int64_t BytesWritten() const { return bytes_written_; }

    /// Appends a chunk to `chain`. Caller: only the last one of a chain is not full.
    void Append(PartChain& chain, std::span<const std::byte> chunk);

    /// Takes the first chunk off `chain`; its place in the file is used again. Returns how many
    /// bytes it is; 0: the chain is empty. `room`: for a chunk.
    std::size_t TakeFirst(PartChain& chain, std::span<std::byte> room);

private:
    void Open();

    const std::size_t record_bytes_;
    const std::size_t chunk_records_;
    std::string folder_;
    int descriptor_ = -1;
    std::vector<std::uint32_t> next_;  ///< of each chunk: the one behind it in its chain
    std::vector<std::uint32_t> free_;
    std::int64_t bytes_written_ = 0;
};
