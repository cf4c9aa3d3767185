// Four points at a time, and the choice of the loops.

#include "ptc/format/point_lanes.h"

#include <cpuid.h>

#include "ptc/format/point_lane_loops.h"

namespace {

void EncodeNormalsByFour(const HeadRun& heads, NormalCodes& codes) {
    EncodeNormalsByLanes<4>(heads, codes);
}

void IncludeByFour(const HeadRun& heads, LaneBounds* bounds) {
    IncludeByLanes<4>(heads, bounds);
}

/// Whether processor and system have AVX2. Not __builtin_cpu_supports(), which brings along a
/// function that runs when the shared object is loaded.
bool HasAvx2() {
    constexpr unsigned kSystemSaves = 1u << 27;
    constexpr unsigned kAvx = 1u << 28;
    constexpr unsigned kAvx2 = 1u << 5;
    constexpr unsigned kSavedRegisters = 6;  // of 16 and of 32 bytes
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d) || !(c & kSystemSaves) || !(c & kAvx)) return false;
    if (!__get_cpuid_count(7, 0, &a, &b, &c, &d) || !(b & kAvx2)) return false;
    asm("xgetbv" : "=a"(a), "=d"(d) : "c"(0));
    return (a & kSavedRegisters) == kSavedRegisters;
}

}  // namespace

const PointLanes kFourLanes = {&EncodeNormalsByFour, &IncludeByFour};

const PointLanes& BestPointLanes() {
    static const PointLanes& best = HasAvx2() ? kEightLanes : kFourLanes;
    return best;
}
