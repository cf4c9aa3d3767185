// OrganiseError: why organising or merging ends early.
//
// Thrown and caught within this room: work that is spread over files and threads ends at one place.
//
// Ownership  owns its texts.
// Threads    any.

#pragma once

#include <string>
#include <utility>

#include "ptc/failure.h"

/// What the front door stores as the thread's last failure.
struct OrganiseFailure {
    PtcFailureCode code = PtcFailureCode::kNone;
    int error = 0;     ///< errno; 0: the system has no part in it
    std::string file;  ///< empty: none
    std::string what;
    std::string reason;  ///< empty: the system's words for `error`
};

struct OrganiseError {
    OrganiseFailure failure;
};

[[noreturn]] inline void FailToOrganise(PtcFailureCode code, std::string file, std::string what,
                                        int error, std::string reason = {}) {
    throw OrganiseError{{code, error, std::move(file), std::move(what), std::move(reason)}};
}
