// GzipSink: a gzip file of what is written to it, whose first bytes can be written again.
//
// Units      offsets in bytes before compression.
// Errors     false; Error() is that of the sink below.
// Ownership  owns the sink below, and the compressor.
// Threads    one caller at a time.
//
// A point cloud's header is completed after its points are counted, but compressed bytes cannot be
// changed. So the first bytes become a stored block of fixed size in front of the compressed ones,
// which is written again at the end; the two checksums are combined. The result is one ordinary
// gzip member, and the points need neither memory nor a second file.

#pragma once

#include <memory>
#include <string>

#include "util/io/bytes.h"

namespace convert {

class GzipSink : public ByteSink {
public:
    /// Bytes at the start that can be written again.
    static constexpr std::size_t kHeadBytes = 4096;

    explicit GzipSink(std::unique_ptr<ByteSink> below);
    ~GzipSink() override;

    /// At the end, or within the first kHeadBytes over what is there.
    bool Write(std::span<const std::byte> bytes) override;
    bool Seek(std::int64_t offset) override;
    bool SeekToEnd() override;
    std::int64_t Tell() override { return position_; }
    bool Close() override;
    int Error() const override { return error_; }

private:
    struct Deflater;

    bool Fail(int error);
    bool PutHead();
    bool Deflate(std::span<const std::byte> bytes, int flush);
    bool PutTrailer();

    std::unique_ptr<ByteSink> below_;
    std::unique_ptr<Deflater> deflater_;  ///< null until the head is full
    std::string head_;
    std::int64_t position_ = 0;
    std::int64_t end_ = 0;
    int error_ = 0;
};

}  // namespace convert
