// LongCall: a scope in which the library works and other Python threads run.
//
// Units      seconds; `done` is a share from 0 to 1.
// Errors     GoOn() answers false once an exception is pending: a signal's, such as that of Ctrl-C,
//            or the progress function's. End() throws it.
// Ownership  borrows the progress function.
// Threads    the calling thread, which holds the interpreter's lock before and after the scope.

#pragma once

#include <pybind11/pybind11.h>

#include <chrono>

class LongCall {
public:
    static constexpr std::chrono::milliseconds kPause{50};

    /// Gives the interpreter's lock up. `progress`: called with `done` now and then; null or None:
    /// nobody.
    explicit LongCall(pybind11::handle progress = {});
    /// Takes the lock again. A thread that asks for it while the interpreter ends is unwound or
    /// kept, as the interpreter demands.
    ~LongCall() noexcept(false);
    LongCall(const LongCall&) = delete;
    LongCall& operator=(const LongCall&) = delete;

    /// Whether to work on. Once in `kPause` it lets signals and messages be handled and progress be
    /// told; otherwise it costs a look at the clock.
    bool GoOn(double done);

    /// Takes the lock, hands on the messages, and throws the exception that is pending. `is_done`:
    /// the work succeeded, so that progress ends with 1.
    void End(bool is_done);

private:
    void Lock();
    void Unlock() { state_ = PyEval_SaveThread(); }
    bool Tell(double done);

    PyThreadState* state_ = nullptr;  ///< null while this thread has the lock
    const pybind11::handle progress_;
    std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + kPause;
    bool is_stopped_ = false;
};
