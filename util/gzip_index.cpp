// Entry points into a gzip file.

#include "util/gzip_index.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::size_t kInput = 65536;
constexpr std::int64_t kSpan = 1 << 20;  // inflated bytes between two entries

// zlib's words for what a stream holds, given with the number of bits of the window.
constexpr int kGzip = 15 + 16;
constexpr int kRaw = -15;

constexpr int kBlockEnds = 128;  // flags of z_stream::data_type after inflate(Z_BLOCK)
constexpr int kLastBlock = 64;
constexpr int kBitsLeft = 7;

}  // namespace

/// One run of inflating, fed from the file. Not movable: zlib keeps its address.
class GzipIndex::Inflater {
public:
    explicit Inflater(int descriptor) : descriptor_(descriptor), input_(kInput) {}
    ~Inflater() {
        if (is_ready_) inflateEnd(&stream_);
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Begins at the file's start.
    bool Begin() { return Ready(inflateInit2(&stream_, kGzip)); }

    /// Begins at `entry`, the header of its stream long past.
    bool Begin(const Entry& entry) {
        if (entry.window.empty()) {
            in_ = entry.in;
            return Begin();
        }
        if (!Ready(inflateInit2(&stream_, kRaw))) return false;
        is_raw_ = true;
        in_ = entry.in;
        if (entry.bits) {
            std::byte before{};
            if (::pread(descriptor_, &before, 1, entry.in - 1) != 1) return false;
            const int value = std::to_integer<int>(before) >> (8 - entry.bits);
            if (inflatePrime(&stream_, entry.bits, value) != Z_OK) return false;
        }
        return inflateSetDictionary(&stream_, AsBytes(entry.window.data()),
                                    static_cast<unsigned>(entry.window.size())) == Z_OK;
    }

    /// Inflates into `out` until it is full, a block ends (with Z_BLOCK) or the file does.
    /// Answers the bytes made; -1 when the stream is damaged or breaks off.
    std::int64_t Run(std::span<std::byte> out, int flush) {
        stream_.next_out = AsBytes(out.data());
        stream_.avail_out = static_cast<unsigned>(out.size());
        while (stream_.avail_out > 0 && !is_at_end_) {
            if (stream_.avail_in == 0 && !Feed()) return -1;
            const int result = inflate(&stream_, flush);
            if (result == Z_STREAM_END) {
                if (!NextMember()) return -1;
            } else if (result != Z_OK && result != Z_BUF_ERROR) {
                return -1;
            }
            if (flush == Z_BLOCK && (stream_.data_type & kBlockEnds)) break;
        }
        return static_cast<std::int64_t>(out.size() - stream_.avail_out);
    }

    bool IsAtEnd() const { return is_at_end_; }
    bool IsAtBlock() const {
        return (stream_.data_type & kBlockEnds) && !(stream_.data_type & kLastBlock);
    }
    std::int64_t In() const { return in_ - stream_.avail_in; }
    int Bits() const { return stream_.data_type & kBitsLeft; }

private:
    static unsigned char* AsBytes(const std::byte* bytes) {
        return const_cast<unsigned char*>(  // zlib's interface writes to what it only reads
            static_cast<const unsigned char*>(static_cast<const void*>(bytes)));
    }

    bool Ready(int result) { return is_ready_ = result == Z_OK; }

    bool Feed() {
        ssize_t read = 0;
        do {
            read = ::pread(descriptor_, input_.data(), input_.size(), in_);
        } while (read < 0 && errno == EINTR);
        if (read <= 0) return false;
        in_ += read;
        stream_.next_in = AsBytes(input_.data());
        stream_.avail_in = static_cast<unsigned>(read);
        return true;
    }

    /// Behind one stream the next may begin; the file's end is the end.
    bool NextMember() {
        if (is_raw_) {
            // The trailer, which only a stream with its header checks.
            for (int trailer = 8; trailer > 0; --trailer) {
                if (stream_.avail_in == 0 && !Feed()) return false;
                ++stream_.next_in;
                --stream_.avail_in;
            }
        }
        is_at_end_ = stream_.avail_in == 0 && !Feed();
        if (is_at_end_) return true;
        is_raw_ = false;
        return inflateReset2(&stream_, kGzip) == Z_OK;
    }

    const int descriptor_;
    std::vector<std::byte> input_;
    z_stream stream_{};
    std::int64_t in_ = 0;  // offset in the file of the next byte to feed
    bool is_ready_ = false;
    bool is_raw_ = false;
    bool is_at_end_ = false;
};

GzipIndex::~GzipIndex() {
    ::close(descriptor_);
}

bool GzipIndex::IsBuilt() {
    // acquire: pairs with the release in Build(), so that the entries are visible
    if (is_built_.load(std::memory_order_acquire)) return true;
    TgMutexGuard hold(build_lock_);
    if (!is_tried_) {
        is_tried_ = true;
        Build();
    }
    return is_built_.load(std::memory_order_relaxed);
}

bool GzipIndex::Build() {
    Inflater inflater(descriptor_);
    if (!inflater.Begin()) return false;
    entries_.push_back({0, 0, 0, {}});

    // The inflated bytes pass through a ring of one window.
    std::vector<std::byte> window(kWindow);
    std::int64_t out = 0;
    while (!inflater.IsAtEnd()) {
        const auto at = static_cast<std::size_t>(out % static_cast<std::int64_t>(kWindow));
        const std::int64_t made = inflater.Run(std::span(window).subspan(at), Z_BLOCK);
        if (made < 0) return false;
        out += made;
        if (!inflater.IsAtBlock() || out - entries_.back().out < kSpan) continue;
        Entry entry{out, inflater.In(), inflater.Bits(), {}};
        const auto end = static_cast<std::ptrdiff_t>(out % static_cast<std::int64_t>(kWindow));
        entry.window.assign(window.begin() + end, window.end());
        entry.window.insert(entry.window.end(), window.begin(), window.begin() + end);
        entries_.push_back(std::move(entry));
    }
    bytes_.store(out, std::memory_order_relaxed);
    is_built_.store(true, std::memory_order_release);  // pairs with the acquire in IsBuilt()
    return true;
}

std::int64_t GzipIndex::ReadAt(std::int64_t offset, std::span<std::byte> bytes) {
    if (offset < 0 || !IsBuilt()) return -1;
    const auto behind = std::upper_bound(
        entries_.begin(), entries_.end(), offset,
        [](std::int64_t wanted, const Entry& entry) { return wanted < entry.out; });
    const Entry& entry = *(behind - 1);
    Inflater inflater(descriptor_);
    if (!inflater.Begin(entry)) return -1;

    std::vector<std::byte> skipped(
        static_cast<std::size_t>(std::min<std::int64_t>(offset - entry.out, kSpan)));
    for (std::int64_t left = offset - entry.out; left > 0 && !inflater.IsAtEnd();) {
        const auto piece = static_cast<std::size_t>(std::min<std::int64_t>(left, kSpan));
        const std::int64_t made = inflater.Run(std::span(skipped).first(piece), Z_NO_FLUSH);
        if (made < 0) return -1;
        left -= made;
    }
    return inflater.Run(bytes, Z_NO_FLUSH);
}
