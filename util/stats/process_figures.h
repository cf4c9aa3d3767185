// Figures of this process from the system: times, memory, page faults.
//
// Units      seconds and bytes, except where a name says otherwise.
// Errors     a figure that the system does not provide is 0.
// Ownership  none.
// Threads    any.

#pragma once

#include <cstdint>

struct ProcessTimes {
    double elapsed = 0;  ///< the monotonic clock: only differences have a meaning
    double user = 0;     ///< processor time of all threads outside the system
    double system = 0;   ///< processor time of all threads inside the system
};
ProcessTimes ReadProcessTimes();

struct ProcessMemory {
    std::int64_t size = 0;           ///< the address space
    std::int64_t resident = 0;       ///< the part of it that is in memory
    std::int64_t peak_resident = 0;  ///< the largest resident part so far, in whole pages
    std::int64_t heap = 0;           ///< the C library's heap, used or not; 0 for another allocator
};
ProcessMemory ReadProcessMemory();

/// Counts of this process and of its children that have ended and were waited for.
struct PageCounts {
    std::int64_t faults = 0;    ///< major: the page came from a disk
    std::int64_t reclaims = 0;  ///< minor: it was still in memory
    std::int64_t swaps = 0;
};
PageCounts ReadPageCounts();
