// Setting the calling thread's last failure.
//
// Errors     none. A thread's first failure allocates room for its words; a lack of memory for that
//            leaves the code and the error number, and fixed words.
// Ownership  texts are copied, cut at the room there is.
// Threads    any; each thread sets its own.

#pragma once

#include <new>

#include "ptc/failure.h"

/// Stores a failure: "FILE: WHAT: REASON". `file`: null for none. `reason`: null for the system's
/// words for `error`, or for none if that is 0.
void SetFailure(PtcFailureCode code, const char* file, const char* what, int error = 0,
                const char* reason = nullptr) noexcept;

/// Calls, and answers `otherwise` with the failure kNoMemory when memory runs out.
template <class Call, class Answer>
Answer CatchNoMemory(const char* file, Answer otherwise, Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        SetFailure(PtcFailureCode::kNoMemory, file, "memory ran out");
        return otherwise;
    }
}
