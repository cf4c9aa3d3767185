// Reads the figures from getrusage(), /proc/self/statm and the allocator.

#include "util/stats/process_figures.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstddef>

#include "util/stats/hres_clock.h"

namespace {

constexpr std::int64_t kBytesPerKilobyte = 1024;

/// What the system has counted for this process or for its children.
rusage Usage(int who) {
    rusage usage{};
    getrusage(who, &usage);  // fails for an unknown `who` only
    return usage;
}

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// The first two numbers of /proc/self/statm, in pages: address space and resident part.
/// Reads without a stream: a stream would allocate memory and so change these figures.
std::array<std::int64_t, 2> ReadStatm() {
    std::array<std::int64_t, 2> pages{};
    const int file = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (file < 0) return pages;
    std::array<char, 256> text;
    const ssize_t length = read(file, text.data(), text.size());
    close(file);

    const char* at = text.data();
    const char* const end = at + (length > 0 ? length : 0);
    for (std::int64_t& count : pages) {
        at = std::from_chars(at, end, count).ptr;
        if (at != end) ++at;  // the blank
    }
    return pages;
}

}  // namespace

ProcessTimes ReadProcessTimes() {
    const rusage self = Usage(RUSAGE_SELF);
    return {static_cast<double>(hres_clock::MonotonicNanoseconds()) * 1e-9, Seconds(self.ru_utime),
            Seconds(self.ru_stime)};
}

ProcessMemory ReadProcessMemory() {
    // The peak is given in kilobytes; rounded to whole pages, like the other two figures.
    const std::int64_t page = sysconf(_SC_PAGESIZE);
    const auto [size_pages, resident_pages] = ReadStatm();
    const std::int64_t peak_pages = Usage(RUSAGE_SELF).ru_maxrss * kBytesPerKilobyte / page;
    const struct mallinfo2 heap = mallinfo2();
    return {size_pages * page, resident_pages * page, peak_pages * page,
            static_cast<std::int64_t>(heap.arena + heap.hblkhd)};
}

PageCounts ReadPageCounts() {
    const rusage self = Usage(RUSAGE_SELF);
    const rusage children = Usage(RUSAGE_CHILDREN);
    return {self.ru_majflt + children.ru_majflt, self.ru_minflt + children.ru_minflt,
            self.ru_nswap + children.ru_nswap};
}
