// The ptc program on a disk that fails once: linked with the program, these stand in for the
// system's own functions, also when a shared library calls them, under every sanitizer.
//
// Environment: FAILING_FILE, the input, of which calls are counted as they are of files without a
// name, such as temporary ones; FAILING_CALL, the number from 0 on of the call that fails;
// FAILED_NOTE, a file that appears when it has failed, empty unless it failed for a file that is
// only written; FAILING_SYNC, whether fsync() does.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {

bool IsCounted(int descriptor, bool is_question) {
    struct stat file;
    struct stat input;
    const char* const name = std::getenv("FAILING_FILE");
    if (!name || ::fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode)) return false;
    if (file.st_nlink == 0) return true;
    // zlib asks where a file stands that it has just opened, and does without an answer.
    return !is_question && ::stat(name, &input) == 0 && file.st_dev == input.st_dev &&
           file.st_ino == input.st_ino;
}

bool Fails(int descriptor, bool is_question = false) {
    static std::atomic<int> calls{0};
    const char* const number = std::getenv("FAILING_CALL");
    if (!number || !IsCounted(descriptor, is_question) || calls.fetch_add(1) != std::atoi(number))
        return false;
    const int note = ::open(std::getenv("FAILED_NOTE"), O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
    const bool is_output = (::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_WRONLY;
    const bool is_noted = !is_output || ::write(note, "output", 6) == 6;
    ::close(note);
    errno = EIO;
    return is_noted;
}

}  // namespace

// Seen by shared libraries, too.
#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int descriptor, void* bytes, size_t size) {
    return Fails(descriptor) ? -1 : ::syscall(SYS_read, descriptor, bytes, size);
}

ssize_t pread64(int descriptor, void* bytes, size_t size, off64_t at) {
    return Fails(descriptor) ? -1 : ::syscall(SYS_pread64, descriptor, bytes, size, at);
}

ssize_t pread(int descriptor, void* bytes, size_t size, off_t at) {
    return pread64(descriptor, bytes, size, at);
}

off64_t lseek64(int descriptor, off64_t offset, int from) noexcept {
    const bool is_question = offset == 0 && from == SEEK_CUR;
    return Fails(descriptor, is_question) ? -1 : ::syscall(SYS_lseek, descriptor, offset, from);
}

off_t lseek(int descriptor, off_t offset, int from) noexcept {
    return lseek64(descriptor, offset, from);
}

int fsync(int descriptor) {
    if (!std::getenv("FAILING_SYNC")) return static_cast<int>(::syscall(SYS_fsync, descriptor));
    errno = EIO;
    return -1;
}

}  // extern "C"
#pragma GCC visibility pop
