// `WriteSignalShield`: keeps the signals of failed writes from the host.
//
// Units      none.
// Errors     none; errno stays as it is.
// Ownership  none.
// Threads    each object is for the thread that made it.

#pragma once

#include <signal.h>

#include <cerrno>
#include <ctime>

#include "util/base/uncopyable.h"

/// Blocks SIGXFSZ and SIGPIPE in this thread for one scope. The system sends them to a thread that
/// writes beyond the file size limit or into a closed pipe, and by default they end the process.
/// Blocking them leaves the host's signal handlers unchanged.
class WriteSignalShield : public TgUncopyable {
public:
    WriteSignalShield() {
        sigset_t ours;
        sigemptyset(&ours);
        sigaddset(&ours, SIGXFSZ);
        sigaddset(&ours, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &ours, &mask_before_);
        sigemptyset(&pending_before_);
        sigpending(&pending_before_);
    }
    ~WriteSignalShield() { pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr); }

    /// Removes the pending signal of a write that failed with `error`. A signal that was pending
    /// before this scope belongs to the host and stays pending.
    void Failed(int error) {
        const int raised = error == EFBIG ? SIGXFSZ : error == EPIPE ? SIGPIPE : 0;
        if (raised == 0 || sigismember(&pending_before_, raised) == 1) return;
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, raised);
        const timespec at_once = {};
        while (sigtimedwait(&one, nullptr, &at_once) < 0 && errno == EINTR) {
        }
        errno = error;
    }

private:
    sigset_t mask_before_;
    sigset_t pending_before_;
};
