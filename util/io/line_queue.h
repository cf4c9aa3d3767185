// LineQueue: what a ClientPort and its thread share: the lines that wait, and how it goes.
//
// Units      bytes, lines.
// Errors     the constructor throws std::bad_alloc or std::system_error; later, what is not kept is
//            counted as dropped.
// Ownership  owns the lines and the descriptor that wakes the thread.
// Threads    any function from any thread. One lock, held for no more than a few moves.

#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "util/base/uncopyable.h"
#include "util/io/client_port.h"

class LineQueue : public TgUncopyable {
public:
    using Clock = std::chrono::steady_clock;

    explicit LineQueue(const ClientPortLimits& limits);
    ~LineQueue();

    /// Appends a line and its newline, and wakes the thread.
    void Add(std::string_view line) noexcept;

    ClientPortCounts Counts() const;

    /// Asks the thread to end, and waits for it as the limits say.
    void Finish();

    // For the thread:

    /// Becomes readable when there is something to look at.
    int WakeDescriptor() const { return wake_; }
    void TakeWake();

    /// The first line, with its newline. Nothing: there is none.
    std::optional<std::string> Take();
    bool IsEmpty() const;

    /// Puts lines back in front of the others.
    void PutBack(std::deque<std::string> lines);

    void CountDelivered(std::size_t lines);

    /// Whether the peer or the resolver owes an answer, from now on.
    void SetWaiting(bool is_waiting);

    bool IsFinishing() const { return is_finishing_; }
    /// Whether nobody waits for the thread any longer.
    bool IsAbandoned() const { return is_abandoned_; }

    /// The thread's last act.
    void End();

private:
    void Wake();
    void DropOldest();

    const ClientPortLimits limits_;
    const int wake_;
    std::atomic<bool> is_finishing_{false};
    std::atomic<bool> is_abandoned_{false};

    mutable std::mutex lock_;  // guards what follows
    std::condition_variable ended_;
    std::deque<std::string> lines_;
    std::size_t bytes_ = 0;  ///< of lines_
    ClientPortCounts counts_;
    std::optional<Clock::time_point> waiting_since_;
    bool has_ended_ = false;
};
