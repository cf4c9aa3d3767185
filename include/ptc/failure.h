// Why a call failed: each thread's last failure, as a code and as a text.
//
// Units      `system_error` is an errno value.
// Errors     none: asking never fails.
// Ownership  texts belong to the library and stay as they are until this thread's next failure, or
//            its end.
// Threads    each thread has its own. A call that succeeds changes nothing, as with errno.

#pragma once

#include <cstdint>

#include "ptc/api.h"

enum class PtcFailureCode : std::int32_t {
    kNone = 0,          ///< no call of this thread has failed
    kBadArgument = 1,   ///< null, a value that is refused, or a node key of another file
    kCannotOpen = 2,    ///< the system refused: `system_error` says why
    kNotACloud = 3,     ///< the file is not a point cloud, or is damaged before its first point
    kNoSuchRecord = 4,  ///< no such point, no children, no octree, no variables
    kUnreadable = 5,    ///< the system could not read the record, or the file is damaged there
    kCannotWrite = 6,   ///< the system refused: `system_error` says why
    kNoMemory = 7,
    kShutDown = 8,  ///< the handle is older than the last PtcShutdown()
    kStopped = 9,   ///< the caller's progress function ended the work
};

struct PtcFailure {
    PtcFailureCode code;
    std::int32_t system_error;  ///< 0: the system has no part in it
    /// One line without a newline: the file, what failed and the reason, such as
    /// "a.ptc: cannot be opened: No such file or directory". Empty for kNone. Cut at 1023 bytes.
    const char* text;
    const char* what;    ///< the part of `text` behind the file: what failed and the reason
    const char* reason;  ///< the part of `text` behind that; empty: none is known
};

/// The calling thread's last failure.
PTC_API PtcFailure PtcLastFailure() noexcept;
