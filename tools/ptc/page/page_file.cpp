// PageFile: zlib, base64 and the stream.

#include "tools/ptc/page/page_file.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>

#include "tools/common/failure.h"
#include "util/io/open_file.h"

namespace page {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 16;
constexpr std::string_view kLetters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct Deflater {
    Deflater() {
        if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) throw std::bad_alloc();
    }
    ~Deflater() { deflateEnd(&stream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    z_stream stream{};
};

}  // namespace

void Base64::Add(std::span<const unsigned char> bytes, std::string* text) {
    for (const unsigned char byte : bytes) {
        bits_ = bits_ << 8 | byte;
        if (++waiting_ < 3) continue;
        for (int shift = 18; shift >= 0; shift -= 6) *text += kLetters[bits_ >> shift & 63];
        bits_ = 0;
        waiting_ = 0;
    }
}

void Base64::Finish(std::string* text) {
    if (waiting_ == 0) return;
    const int letters = waiting_ + 1;
    bits_ <<= 8 * (3 - waiting_);
    for (int i = 0; i < 4; ++i) *text += i < letters ? kLetters[bits_ >> (18 - 6 * i) & 63] : '=';
    bits_ = 0;
    waiting_ = 0;
}

PageFile::PageFile(const OutputFile& output)
    : name_(output.Name()), stream_(OpenStream(output.Path().c_str(), "wb"), std::fclose) {
    if (!stream_) FailWithErrno(name_);
}

void PageFile::Write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stream_.get()) != text.size())
        FailWithErrno(name_);
}

void PageFile::WriteCompressed(std::span<const std::byte> bytes) {
    Deflater deflater;
    z_stream& stream = deflater.stream;
    Base64 base64;
    std::array<unsigned char, kPiece> out;
    std::string text;
    int state = Z_OK;
    while (state != Z_STREAM_END) {
        // zlib counts in 32 bits.
        const std::size_t piece = std::min(bytes.size(), kPiece);
        stream.next_in =
            static_cast<z_const Bytef*>(const_cast<void*>(static_cast<const void*>(bytes.data())));
        stream.avail_in = static_cast<uInt>(piece);
        stream.next_out = out.data();
        stream.avail_out = kPiece;
        state = deflate(&stream, piece == bytes.size() ? Z_FINISH : Z_NO_FLUSH);
        bytes = bytes.subspan(piece - stream.avail_in);
        text.clear();
        base64.Add(std::span(out).first(kPiece - stream.avail_out), &text);
        Write(text);
    }
    text.clear();
    base64.Finish(&text);
    Write(text);
}

void PageFile::Close() {
    if (std::fclose(stream_.release()) != 0) FailWithErrno(name_);
}

}  // namespace page
