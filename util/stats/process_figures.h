// What the system says of this process: times, memory, page faults.
//
// Units      seconds and bytes, except where a name says otherwise.
// Errors     a figure that the system does not give is 0.
// Threads    any.

#pragma once

#include <cstdint>

struct ProcessTimes {
    double elapsed = 0;  ///< of the monotonic clock: only differences mean anything
    double user = 0;     ///< spent by all threads of this process
    double system = 0;   ///< likewise
};
ProcessTimes ReadProcessTimes();

struct ProcessMemory {
    std::int64_t size = 0;           ///< of the whole address space
    std::int64_t resident = 0;       ///< of the part that is in memory
    std::int64_t peak_resident = 0;  ///< the most that ever was, in whole pages
    std::int64_t heap = 0;           ///< the C library's, in use or not; 0 under another allocator
};
ProcessMemory ReadProcessMemory();

/// Of this process and of its children that have ended and were waited for.
struct PageCounts {
    std::int64_t faults = 0;    ///< major: the page came from a disk
    std::int64_t reclaims = 0;  ///< minor: it was still in memory
    std::int64_t swaps = 0;
};
PageCounts ReadPageCounts();
