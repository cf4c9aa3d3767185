// A shared object of a user's with the library in it or behind it, which a host loads.

#include <cstdint>

#include "ptc/access.h"

/// How many points a file has, as the host asks; -1: it cannot be read.
extern "C" __attribute__((visibility("default"))) std::int64_t CountPoints(const char* name) {
    const PtcFile file(name);
    PtcHeader header{};
    if (!PtcGetHeader(file.Get(), &header)) return -1;
    return PtcGetPoint(file.Get(), header.points - 1) ? header.points : -1;
}
