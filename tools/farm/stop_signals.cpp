// StopSignals: a descriptor that signals are read from.

#include "tools/farm/stop_signals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <vector>

#include "tools/common/failure.h"

namespace farm {

StopSignals::StopSignals() {
    sigset_t stops;
    sigemptyset(&stops);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&stops, signal);
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &stops, &before_); error != 0)
        FailWithErrno("signals", error);
    descriptor_ = ::signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) FailWithErrno("signals");
}

StopSignals::~StopSignals() {
    ::close(descriptor_);
    (void)::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void StopSignals::Read() {
    signalfd_siginfo info{};
    if (::read(descriptor_, &info, sizeof info) == sizeof info && signal_ == 0)
        signal_ = static_cast<int>(info.ssi_signo);
}

void StopSignals::Wait(std::span<const int> descriptors, std::chrono::milliseconds limit) {
    std::vector<pollfd> waiting = {{descriptor_, POLLIN, 0}};
    for (const int descriptor : descriptors) waiting.push_back({descriptor, POLLIN, 0});
    if (::poll(waiting.data(), waiting.size(), static_cast<int>(limit.count())) > 0 &&
        waiting.front().revents != 0)
        Read();
}

}  // namespace farm
