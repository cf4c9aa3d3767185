// GzipSink: the stored block, the compressed rest, the checksums.

#include "tools/ptc/convert/gzip_sink.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace convert {

namespace {

constexpr std::size_t kPiece = 65536;
constexpr int kRawDeflate = -15;  // the largest window; the frame around it is written here
constexpr int kMemoryLevel = 8;   // zlib's default

/// No name, no time, no system: the same input gives the same file everywhere.
constexpr std::array<unsigned char, 10> kFileHead = {0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 255};

void AppendLittleEndian(std::uint64_t value, int bytes, std::string* text) {
    for (int i = 0; i < bytes; ++i) *text += static_cast<char>(value >> (8 * i) & 0xFF);
}

std::uint32_t Checksum(std::uint32_t so_far, std::span<const std::byte> bytes) {
    if (bytes.empty()) return so_far;  // a null pointer makes zlib start again
    // zlib's type for bytes, which may look at anything.
    const auto* const first = static_cast<const Bytef*>(static_cast<const void*>(bytes.data()));
    return static_cast<std::uint32_t>(crc32_z(so_far, first, bytes.size()));
}

}  // namespace

struct GzipSink::Deflater {
    z_stream stream{};
    std::uint32_t checksum = 0;
    std::int64_t bytes = 0;  ///< taken in
    std::array<std::byte, kPiece> out;

    ~Deflater() { deflateEnd(&stream); }
};

GzipSink::GzipSink(std::unique_ptr<ByteSink> below) : below_(std::move(below)) {
    head_.reserve(kHeadBytes);
}

GzipSink::~GzipSink() = default;

bool GzipSink::Fail(int error) {
    if (error_ == 0) error_ = error;
    return false;
}

/// The file's head and the first bytes as a stored block, which is not the last.
bool GzipSink::PutHead() {
    std::string text(kFileHead.begin(), kFileHead.end());
    text += '\0';
    AppendLittleEndian(head_.size(), 2, &text);
    AppendLittleEndian(~head_.size(), 2, &text);
    text += head_;
    return below_->Write(std::as_bytes(std::span(text))) || Fail(below_->Error());
}

bool GzipSink::Deflate(std::span<const std::byte> bytes, int flush) {
    if (!deflater_) {
        if (!PutHead()) return false;
        deflater_ = std::make_unique<Deflater>();
        if (deflateInit2(&deflater_->stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kRawDeflate,
                         kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK)
            return Fail(ENOMEM);
    }
    z_stream& stream = deflater_->stream;
    deflater_->checksum = Checksum(deflater_->checksum, bytes);
    deflater_->bytes += static_cast<std::int64_t>(bytes.size());
    int state = Z_OK;
    do {
        const std::size_t piece = std::min(bytes.size(), kPiece);
        stream.next_in =
            static_cast<z_const Bytef*>(const_cast<void*>(static_cast<const void*>(bytes.data())));
        stream.avail_in = static_cast<uInt>(piece);
        stream.next_out = static_cast<Bytef*>(static_cast<void*>(deflater_->out.data()));
        stream.avail_out = kPiece;
        state = deflate(&stream, piece == bytes.size() ? flush : Z_NO_FLUSH);
        bytes = bytes.subspan(piece - stream.avail_in);
        const auto made = std::span(deflater_->out).first(kPiece - stream.avail_out);
        if (!made.empty() && !below_->Write(made)) return Fail(below_->Error());
    } while (!bytes.empty() || (flush == Z_FINISH && state != Z_STREAM_END));
    return true;
}

bool GzipSink::Write(std::span<const std::byte> bytes) {
    if (position_ != end_ || head_.size() < kHeadBytes) {
        const auto at = static_cast<std::size_t>(position_);
        const std::size_t piece = std::min(bytes.size(), kHeadBytes - std::min(at, kHeadBytes));
        if (position_ != end_ && at + bytes.size() > head_.size()) return Fail(EINVAL);
        head_.resize(std::max(head_.size(), at + piece));
        if (piece > 0) std::memcpy(&head_[at], bytes.data(), piece);
        position_ += static_cast<std::int64_t>(piece);
        end_ = std::max(end_, position_);
        bytes = bytes.subspan(piece);
    }
    if (bytes.empty()) return true;
    position_ += static_cast<std::int64_t>(bytes.size());
    end_ = position_;
    return Deflate(bytes, Z_NO_FLUSH);
}

bool GzipSink::Seek(std::int64_t offset) {
    if (offset < 0 || offset > end_) return Fail(EINVAL);
    position_ = offset;
    return true;
}

bool GzipSink::SeekToEnd() {
    position_ = end_;
    return true;
}

/// The checksum and the size of all bytes.
bool GzipSink::PutTrailer() {
    const std::uint32_t head = Checksum(0, std::as_bytes(std::span(head_)));
    std::string text;
    AppendLittleEndian(crc32_combine(head, deflater_->checksum, deflater_->bytes), 4, &text);
    AppendLittleEndian(static_cast<std::uint64_t>(end_), 4, &text);
    return below_->Write(std::as_bytes(std::span(text))) || Fail(below_->Error());
}

bool GzipSink::Close() {
    if (!below_) return true;
    if (error_ == 0 && Deflate({}, Z_FINISH) && PutTrailer()) {
        // The head as it is in the end.
        if (!below_->Seek(0)) Fail(below_->Error());
        if (error_ == 0) (void)PutHead();
    }
    if (!below_->Close()) Fail(below_->Error());
    below_.reset();
    return error_ == 0;
}

}  // namespace convert
