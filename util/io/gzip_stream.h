// GzipStream -- inflates a gzip file forwards, from its start or from an entry point within.
//
// Several gzip members in a row are one stream. Bytes behind the last member that begin no further
// one are ignored and are no damage.
//
// Units      offsets in bytes: in the inflated bytes, except where "stored" says otherwise.
// Errors     GetState(). Throws std::bad_alloc when memory runs out; the stream is unusable then.
// Ownership  borrows what the reading function refers to.
// Threads    one caller at a time.

#pragma once

#include <zlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "util/base/uncopyable.h"

/// A place where inflating can begin: the start of the file, or of a block within a member.
struct GzipEntry {
    std::int64_t out = 0;               ///< offset in the inflated bytes
    std::int64_t in = 0;                ///< stored offset of the block's first whole byte
    int bits = 0;                       ///< how many bits of the byte before belong to the block
    std::vector<unsigned char> window;  ///< the member's inflated bytes before it, 32 KB at most

    bool IsStart() const { return in == 0; }
};

class GzipStream : public TgUncopyable {
public:
    /// Reads stored bytes from `offset` on; each call continues where the last one ended. Returns
    /// how many, 0 at the end of the file, -1 when the system cannot read.
    using ReadStored = std::function<std::int64_t(std::int64_t offset, std::span<std::byte> bytes)>;

    /// The ring holds the bytes inflated last. A step fills at most half of it, so the half before
    /// stays readable. With steps of 32 KB inflating takes 6 % longer than with one buffer for all,
    /// with steps of 16 KB 13 %, bench/rows/gzip_sequence.cpp.
    static constexpr std::size_t kStep = 32768;
    static constexpr std::size_t kRing = 2 * kStep;

    /// How far back deflate refers.
    static constexpr std::size_t kWindow = 32768;

    enum class State {
        kGoesOn,
        kAtEnd,
        kDamaged,     ///< the stored bytes are wrong or cut off; final
        kUnreadable,  ///< the system could not read; the next Read() tries again
    };

    explicit GzipStream(ReadStored read, const GzipEntry& entry = {});

    /// Reads the bytes from `offset` on and returns how many; GetState() says why there are fewer
    /// than wanted. Calls `after_step` after each step of inflating; it may call Entry().
    /// Caller: `offset` is not before Begin().
    std::size_t Read(std::int64_t offset, std::span<std::byte> bytes,
                     const std::function<void()>& after_step = {});

    /// The inflated bytes that the ring holds: from Begin() to End(), where inflating continues.
    std::int64_t Begin() const;
    std::int64_t End() const { return out_; }

    State GetState() const { return state_; }

    /// Whether inflating can begin at End(), and the entry for that.
    bool IsAtEntry() const { return is_at_entry_; }
    GzipEntry Entry() const;

private:
    /// zlib's stream, with a destructor. Not movable: zlib stores its address.
    struct Zlib : z_stream {
        Zlib() : z_stream{} {}
        ~Zlib() { inflateEnd(this); }
    };

    void Step();
    bool Feed(unsigned at_least);
    bool Prime();
    bool NextMember();

    const ReadStored read_;
    Zlib zlib_;
    State state_ = State::kGoesOn;
    std::int64_t in_;            // stored offset of the next byte to read
    std::int64_t out_;           // offset of the next byte to inflate
    std::int64_t oldest_;        // offset of the first byte that the ring ever held
    std::int64_t member_begin_;  // where the member began, or the entry's window did
    int prime_bits_;             // bits of the first byte that zlib has not got yet
    bool is_raw_;                // began within a member, so zlib has not seen its header
    bool is_member_done_ = false;
    bool is_at_entry_ = false;
    std::array<unsigned char, kStep> input_;
    std::array<unsigned char, kRing> ring_;  // inflated byte i is at i % kRing
};
