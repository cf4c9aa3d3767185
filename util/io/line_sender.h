// LineSender: what a ClientPort's thread does: find the peer, write, and try again.
//
// Units      milliseconds.
// Errors     none leaves Run(); out of memory ends it, and what is left is not delivered.
// Ownership  owns the connection; borrows the queue.
// Threads    the one that calls Run().

#pragma once

#include <chrono>
#include <cstddef>

#include "util/base/uncopyable.h"
#include "util/io/client_port.h"
#include "util/io/host_port.h"
#include "util/io/line_connection.h"
#include "util/io/line_queue.h"

class LineSender : public TgUncopyable {
public:
    LineSender(LineQueue& queue, const HostPort& where, const ClientPortLimits& limits)
        : queue_(queue), where_(where), limits_(limits), pause_(limits.first_pause) {}

    /// Delivers lines until the queue is finished and empty, or abandoned.
    void Run();

private:
    using Clock = LineQueue::Clock;

    enum class Attempt {
        kMade,
        kRefused,
        kSilent,  ///< no answer within the limit
    };

    bool AwaitLine();
    Attempt Connect();
    Attempt AwaitConnection();
    void Serve();
    bool Exchange();
    bool WriteLines();
    void TakeAcknowledged();
    void Pause();
    short Wait(int descriptor, short events, Clock::time_point until);

    LineQueue& queue_;
    const HostPort& where_;
    const ClientPortLimits& limits_;
    LineConnection connection_;
    ClientPortLimits::Time pause_;
    Clock::time_point read_again_{};  ///< before that nothing is read
};
