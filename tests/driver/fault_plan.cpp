// The calls that fail on demand.

#include "tests/driver/fault_plan.h"

#include <sys/types.h>

#include <cerrno>
#include <cstdlib>

FaultPlan fault_plan;
void (*fault_at_exit)() = std::abort;

// The linker sends the driver's own calls here: see --wrap in CMakeLists.txt.
extern "C" {
int __real_open(const char* name, int flags, mode_t mode);
ssize_t __real_write(int file, const void* bytes, std::size_t count);
off_t __real_lseek(int file, off_t offset, int from);
int __real_close(int file);

int __wrap_open(const char* name, int flags, mode_t mode) {
    if (!fault_plan.Fails(kOpen)) return __real_open(name, flags, mode);
    errno = EMFILE;
    return -1;
}
ssize_t __wrap_write(int file, const void* bytes, std::size_t count) {
    const bool is_interrupted = fault_plan.Fails(kInterruptedWrite);
    if (fault_plan.Fails(kShortWrite)) return __real_write(file, bytes, (count + 1) / 2);
    if (!fault_plan.Fails(kWrite) && !is_interrupted) return __real_write(file, bytes, count);
    errno = is_interrupted ? EINTR : EIO;
    return -1;
}
off_t __wrap_lseek(int file, off_t offset, int from) {
    if (!fault_plan.Fails(kSeek)) return __real_lseek(file, offset, from);
    errno = EIO;
    return -1;
}
int __wrap_close(int file) {
    const int closed = __real_close(file);
    if (!fault_plan.Fails(kClose)) return closed;
    errno = EIO;
    return -1;
}
void __wrap_exit(int) {
    fault_at_exit();
}
}
