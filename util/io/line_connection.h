// LineConnection: one TCP connection that lines are written to, and which of them have arrived.
//
// Units      bytes; lines with their newlines.
// Errors     false when the connection is broken, or closed by the peer; close it then. Throws
//            std::bad_alloc when memory runs out.
// Ownership  owns the descriptor and the lines that the peer has not acknowledged.
// Threads    one caller at a time. Nothing waits.

#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "util/base/uncopyable.h"

class LineConnection : public TgUncopyable {
public:
    LineConnection() = default;
    ~LineConnection();

    /// Begins to connect; the descriptor is writable when that has ended. Caller: no connection is
    /// open.
    [[nodiscard]] bool Begin(const sockaddr* address, socklen_t bytes);
    /// Whether the connection was made. Caller: it is writable.
    [[nodiscard]] bool IsMade() const;

    int Descriptor() const { return descriptor_; }

    /// Adds a line to those that Write() writes. Caller: nothing is unwritten.
    void Add(std::string line);
    bool HasUnwritten() const { return written_ < end_; }

    /// Writes as much as the system takes.
    [[nodiscard]] bool Write();

    /// Says to the peer that nothing follows, so that it acknowledges at once.
    void FinishWriting();

    /// Reads some of what the peer sends and throws it away; `*bytes`: how much.
    [[nodiscard]] bool ReadAway(std::size_t* bytes) const;

    /// Forgets the lines that the peer has acknowledged. The answer: how many.
    std::size_t TakeAcknowledged();
    bool HasUnacknowledged() const { return !lines_.empty(); }

    /// Closes. The answer: the lines that have perhaps not arrived.
    std::deque<std::string> Close();

private:
    struct Line {
        std::string text;
        std::uint64_t end;  ///< on this connection
    };

    int descriptor_ = -1;
    bool is_finished_ = false;
    std::deque<Line> lines_;
    std::uint64_t written_ = 0;
    std::uint64_t end_ = 0;  ///< of all lines so far
};
