// StopSignals: SIGINT, SIGTERM and SIGHUP as something to wait for, in place of a sudden end.
//
// Units      none.
// Errors     a Failure with the system's reason.
// Ownership  blocks the signals as long as it lives; programs that are started do not inherit that.
// Threads    made while the program has one thread.

#pragma once

#include <signal.h>

#include <chrono>
#include <span>

namespace farm {

class StopSignals {
public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Waits until one of the descriptors is readable or a signal has come, at most `limit`.
    void Wait(std::span<const int> descriptors, std::chrono::milliseconds limit);

    /// The first signal that has come; 0: none.
    int Signal() const { return signal_; }

private:
    void Read();

    sigset_t before_;
    int descriptor_ = -1;
    int signal_ = 0;
};

}  // namespace farm
