// Asks the processor.

#include "util/base/processor.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>

namespace {

// Not __builtin_cpu_supports(), which brings along a function that runs when the shared object is
// loaded.
bool AskForAvx2() {
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

bool processor::HasAvx2() {
    static const bool has_it = AskForAvx2();  // asking takes microseconds in a virtual machine
    return has_it;
}

#else

bool processor::HasAvx2() {
    return false;
}

#endif
