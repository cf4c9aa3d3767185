// ClientPort: lines to a program that listens on a TCP port, and never a wait for it.
//
// Units      bytes, lines, milliseconds.
// Errors     none: what cannot be delivered is counted. No function throws.
// Ownership  owns its thread and its descriptors, which no child process inherits.
// Threads    Send() from any thread at any time; the others by the thread that made the object.
//
// A thread of its own finds the address, connects, writes, and connects again after growing pauses.
// All signals are blocked in it. Start() makes it, so that a program has one thread for as long as
// it needs that. A resolver may hang, so the thread is never joined: what it uses belongs to it,
// too, and after Finish() it ends by itself.
//
// Every line arrives whole. One that was written in part when a connection broke begins anew on the
// next, and lines that the peer's system has not acknowledged by then are written again: a peer
// drops what has no newline at its end, and may see a line twice.

#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "util/base/uncopyable.h"
#include "util/io/host_port.h"

struct ClientPortLimits {
    using Time = std::chrono::milliseconds;

    std::size_t lines = 256;                         ///< that wait; of more, the oldest are dropped
    std::size_t bytes = std::size_t{256} << 10;      ///< of these lines
    std::size_t line_bytes = std::size_t{64} << 10;  ///< of one line; a longer one is dropped
    Time connect{3000};                              ///< for one address to answer
    Time first_pause{100};                           ///< between two attempts; doubles with each
    Time longest_pause{5000};
    Time farewell{50};   ///< for Finish()
    Time patience{250};  ///< a peer that has owed an answer for so long gets no farewell
};

/// What has become of the lines. The sum of `delivered` and `dropped` is at most `sent`.
struct ClientPortCounts {
    std::uint64_t sent = 0;       ///< given to Send()
    std::uint64_t delivered = 0;  ///< acknowledged by the peer's system
    std::uint64_t dropped = 0;    ///< given up: too many, too long, or no line
};

class ClientPort : public TgUncopyable {
public:
    explicit ClientPort(HostPort where, const ClientPortLimits& limits = {}) noexcept;
    ~ClientPort();

    /// Makes the thread, once. Lines that were sent before have waited for it. Caller: will make no
    /// copy of the process that needs to have one thread, nor change the environment, which a
    /// resolver reads.
    void Start() noexcept;

    /// Hands over a line, without its newline. Takes a moment's lock and never waits for the peer.
    /// A line with a newline or a NUL in it would be several, or none, and is dropped like an empty
    /// one.
    void Send(std::string_view line) noexcept;

    ClientPortCounts Counts() const noexcept;

    /// Waits until all lines are delivered, for as long as the limits allow. Lines that are sent
    /// later are dropped.
    void Finish() noexcept;

private:
    const HostPort where_;
    const ClientPortLimits limits_;
    std::shared_ptr<class LineQueue> queue_;  ///< null when memory or descriptors ran out
    std::atomic<std::uint64_t> unkept_{0};    ///< lines without a queue
    bool is_started_ = false;
    bool is_finished_ = false;
};
