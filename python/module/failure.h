// Failure: why a call of the library failed, kept for the thread that raises the exception.
//
// Units      `system_error` is an errno value; 0: the system has no part in it.
// Errors     Raise() throws what pybind11 turns into the exception.
// Ownership  copies.
// Threads    LastFailure() any thread, the one whose call has failed; Raise() with the
// interpreter's
//            lock.

#pragma once

#include <string>

#include "ptc/failure.h"

struct Failure {
    PtcFailureCode code = PtcFailureCode::kNone;
    int system_error = 0;
    std::string text;
    std::string what;  ///< the part of `text` behind the file
};

/// The calling thread's last failure.
Failure LastFailure();

/// Raises what ptc.errors.exception_of() makes of the failure.
[[noreturn]] void Raise(const Failure& failure);

/// Raises the calling thread's last failure unless `is_done`.
inline void RaiseUnless(bool is_done) {
    if (!is_done) Raise(LastFailure());
}
