// Inflates step by step into a ring of the bytes inflated last.

#include "util/io/gzip_stream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

// What zlib calls window bits: the window's size, and a number that says what format to expect.
constexpr int kGzip = 15 + 16;
constexpr int kRaw = -15;

constexpr int kBlockBegins = 128;  // flags of z_stream::data_type after inflate(Z_BLOCK)
constexpr int kWasLastBlock = 64;
constexpr int kBitsLeft = 7;

constexpr unsigned kTrailer = 8;  // checksum and length, behind a member's blocks
constexpr unsigned kMagicBytes = 2;
constexpr std::array<unsigned char, kMagicBytes> kMagic = {0x1F, 0x8B};

std::size_t PlaceOf(std::int64_t offset) {
    return static_cast<std::size_t>(offset) % GzipStream::kRing;
}

void ThrowIfNoMemory(int result) {
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
}

}  // namespace

GzipStream::GzipStream(ReadStored read, const GzipEntry& entry)
    : read_(std::move(read)),
      in_(entry.in - (entry.bits ? 1 : 0)),
      out_(entry.out),
      oldest_(entry.out - static_cast<std::int64_t>(entry.window.size())),
      member_begin_(oldest_),
      prime_bits_(entry.bits),
      is_raw_(!entry.IsStart()) {
    zlib_.next_in = input_.data();
    int result = inflateInit2(&zlib_, is_raw_ ? kRaw : kGzip);
    if (result == Z_OK && !entry.window.empty())
        result = inflateSetDictionary(&zlib_, entry.window.data(),
                                      static_cast<unsigned>(entry.window.size()));
    ThrowIfNoMemory(result);
    if (result != Z_OK) state_ = State::kDamaged;
    for (std::size_t i = 0; i < entry.window.size(); ++i)
        ring_[PlaceOf(oldest_ + static_cast<std::int64_t>(i))] = entry.window[i];
}

std::int64_t GzipStream::Begin() const {
    return std::max(oldest_, out_ - static_cast<std::int64_t>(kRing));
}

std::size_t GzipStream::Read(std::int64_t offset, std::span<std::byte> bytes,
                             const std::function<void()>& after_step) {
    const std::size_t wanted = bytes.size();
    if (state_ == State::kUnreadable) state_ = State::kGoesOn;
    while (!bytes.empty()) {
        if (offset >= out_) {
            if (state_ != State::kGoesOn) break;
            Step();
            if (after_step) after_step();
            continue;
        }
        const std::size_t at = PlaceOf(offset);
        const std::size_t piece =
            std::min({bytes.size(), static_cast<std::size_t>(out_ - offset), kRing - at});
        std::memcpy(bytes.data(), ring_.data() + at, piece);
        offset += static_cast<std::int64_t>(piece);
        bytes = bytes.subspan(piece);
    }
    return wanted - bytes.size();
}

/// Inflates until half of the ring is full or a block ends, or sets the state if that is
/// impossible.
///
/// zlib writes into the ring directly. A step ends at the end of a half, so it never wraps around,
/// and a step's bytes before it stay readable.
void GzipStream::Step() {
    is_at_entry_ = false;
    if (prime_bits_ > 0 && !Prime()) return;
    if (is_member_done_ && !NextMember()) return;
    if (zlib_.avail_in == 0 && !Feed(1)) return;

    const std::size_t at = PlaceOf(out_);
    const auto room = static_cast<unsigned>(kStep - at % kStep);
    zlib_.next_out = ring_.data() + at;
    zlib_.avail_out = room;
    const int result = inflate(&zlib_, Z_BLOCK);
    ThrowIfNoMemory(result);
    out_ += room - zlib_.avail_out;
    if (result == Z_STREAM_END) {
        is_member_done_ = true;
    } else if (result == Z_OK || result == Z_BUF_ERROR) {
        is_at_entry_ = (zlib_.data_type & kBlockBegins) && !(zlib_.data_type & kWasLastBlock);
    } else {
        state_ = State::kDamaged;
    }
}

/// Reads until `at_least` stored bytes wait to be inflated. False: the state says why not.
bool GzipStream::Feed(unsigned at_least) {
    std::memmove(input_.data(), zlib_.next_in, zlib_.avail_in);
    zlib_.next_in = input_.data();
    while (zlib_.avail_in < at_least) {
        const auto room = std::span(input_).subspan(zlib_.avail_in);
        const std::int64_t read = read_(in_, std::as_writable_bytes(room));
        if (read <= 0) {
            state_ = read < 0 ? State::kUnreadable : State::kDamaged;
            return false;
        }
        in_ += read;
        zlib_.avail_in += static_cast<unsigned>(read);
    }
    return true;
}

/// Gives zlib the entry's first bits. A block may begin within a byte: deflate fills bytes from the
/// lowest bit up, so the lower bits belong to the block before.
bool GzipStream::Prime() {
    if (!Feed(1)) return false;
    --zlib_.avail_in;
    const int bits = *zlib_.next_in++ >> (8 - prime_bits_);
    if (inflatePrime(&zlib_, prime_bits_, bits) != Z_OK) state_ = State::kDamaged;
    prime_bits_ = 0;
    return state_ == State::kGoesOn;
}

/// Begins the next member. False: there is none, or it cannot be read.
bool GzipStream::NextMember() {
    if (is_raw_) {
        // zlib reads and checks the trailer only of a member whose header it has read.
        if (!Feed(kTrailer)) return false;
        zlib_.next_in += kTrailer;
        zlib_.avail_in -= kTrailer;
        is_raw_ = false;
    }
    const bool has_magic =
        Feed(kMagicBytes) && std::equal(kMagic.begin(), kMagic.end(), zlib_.next_in);
    if (!has_magic) {
        if (state_ != State::kUnreadable) state_ = State::kAtEnd;
        return false;
    }
    is_member_done_ = false;
    member_begin_ = out_;
    if (inflateReset2(&zlib_, kGzip) != Z_OK) state_ = State::kDamaged;
    return state_ == State::kGoesOn;
}

GzipEntry GzipStream::Entry() const {
    GzipEntry entry{out_, in_ - zlib_.avail_in, zlib_.data_type & kBitsLeft, {}};
    const std::int64_t begin = std::max(member_begin_, out_ - static_cast<std::int64_t>(kWindow));
    entry.window.resize(static_cast<std::size_t>(out_ - begin));
    for (std::size_t done = 0; done < entry.window.size();) {
        const std::size_t at = PlaceOf(begin + static_cast<std::int64_t>(done));
        const std::size_t piece = std::min(entry.window.size() - done, kRing - at);
        std::memcpy(&entry.window[done], &ring_[at], piece);
        done += piece;
    }
    return entry;
}
