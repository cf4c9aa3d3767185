// The processor's time of this thread: other programs share the machines, and do not count in it.

#pragma once

#include <time.h>

namespace accuracy {

/// In seconds.
inline double ProcessorTime() {
    timespec now{};
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace accuracy
