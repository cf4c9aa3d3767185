// GzipStream -- inflates a gzip file forwards, from its start or from an entry point within.
//
// Members that follow each other are one stream. Bytes behind them that begin no further member are
// ignored; they are no damage.
//
// Units      offsets in bytes: of what is inflated, unless they are said to be of what is stored.
// Errors     GetState(). Throws std::bad_alloc when memory runs out; the stream is of no use then.
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

/// A place where inflating may begin: the file's start, or the start of a block of a member.
struct GzipEntry {
    std::int64_t out = 0;               ///< offset in the inflated bytes
    std::int64_t in = 0;                ///< stored offset of the first whole byte of the block
    int bits = 0;                       ///< bits of the byte before it that belong to the block
    std::vector<unsigned char> window;  ///< the member's inflated bytes before, as far as needed

    bool IsStart() const { return in == 0; }
};

class GzipStream : public TgUncopyable {
public:
    /// Reads stored bytes from an offset on; the offsets follow each other. Answers how many, 0 at
    /// the file's end, -1 when the system cannot read.
    using ReadStored = std::function<std::int64_t(std::int64_t offset, std::span<std::byte> bytes)>;

    /// This many of the bytes inflated last are at hand. Half of them at most are inflated at a
    /// time, so that what was read last can always be read again.
    static constexpr std::size_t kHistory = 32768;

    enum class State {
        kGoesOn,
        kAtEnd,
        kDamaged,     ///< the stored bytes are wrong or break off: nothing more can be had
        kUnreadable,  ///< the system could not read: worth another try
    };

    explicit GzipStream(ReadStored read, const GzipEntry& entry = {});

    /// Fills `bytes` from `offset` on as far as the stream goes, and answers how many; GetState()
    /// tells why they are fewer. `after_step` is called whenever something was inflated, and may
    /// ask for an entry. Caller: `offset` is not before Begin().
    std::size_t Read(std::int64_t offset, std::span<std::byte> bytes,
                     const std::function<void()>& after_step = {});

    /// The inflated bytes that are at hand: from Begin() up to End(), where inflating goes on.
    std::int64_t Begin() const;
    std::int64_t End() const { return out_; }

    State GetState() const { return state_; }

    /// Whether inflating may begin where this stream stands, and the entry that it takes.
    bool IsAtEntry() const { return is_at_entry_; }
    GzipEntry Entry() const;

private:
    /// zlib's stream, which frees itself. Not movable: zlib keeps its address.
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
    std::int64_t out_;           // inflated so far, counted from the file's start
    std::int64_t oldest_;        // offset of the first byte that ever was in the ring
    std::int64_t member_begin_;  // where the member began, or further back than any window reaches
    int prime_bits_;             // bits of the first byte that are still to be fed
    bool is_raw_;                // within a member whose header was passed over
    bool is_member_done_ = false;
    bool is_at_entry_ = false;
    std::array<unsigned char, 16384> input_;
    std::array<unsigned char, kHistory> ring_;  // inflated byte i is at i % kHistory
};
