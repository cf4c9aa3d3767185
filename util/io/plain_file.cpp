// The system calls of PlainFile, and a shield against the signals that they raise.

#include "util/io/plain_file.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "util/base/uncopyable.h"
#include "util/io/open_file.h"

namespace {

/// Blocks SIGXFSZ and SIGPIPE in this thread for one scope. The system sends them to a thread that
/// writes beyond the file size limit or into a closed pipe, and by default they end the process.
/// Blocking them leaves the host's signal handlers unchanged.
class WriteSignalShield : public TgUncopyable {
public:
    WriteSignalShield() {
        sigset_t ours;
        sigemptyset(&ours);
        sigaddset(&ours, SIGXFSZ);
        sigaddset(&ours, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &ours, &mask_before_);
        sigemptyset(&pending_before_);
        sigpending(&pending_before_);
    }
    ~WriteSignalShield() { pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr); }

    /// Removes the pending signal of a write that failed with `error`. A signal that was pending
    /// before this scope belongs to the host and stays pending.
    void Failed(int error) {
        const int raised = error == EFBIG ? SIGXFSZ : error == EPIPE ? SIGPIPE : 0;
        if (raised == 0 || sigismember(&pending_before_, raised) == 1) return;
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, raised);
        const timespec at_once = {};
        while (sigtimedwait(&one, nullptr, &at_once) < 0 && errno == EINTR) {
        }
        errno = error;
    }

private:
    sigset_t mask_before_;
    sigset_t pending_before_;
};

}  // namespace

PlainFile::~PlainFile() {
    if (descriptor_ >= 0) (void)Close();
}

bool PlainFile::Fail() {
    if (error_ == 0) error_ = errno;
    return false;
}

bool PlainFile::Open(const char* name, unsigned mode) {
    error_ = 0;
    if (!(mode & kPlainWrite)) {
        errno = EINVAL;
        return Fail();
    }
    const int flags = O_WRONLY | O_CREAT | (mode & kPlainTruncate ? O_TRUNC : 0);
    descriptor_ = OpenFile(name, flags, 0666);
    return descriptor_ >= 0 || Fail();
}

bool PlainFile::Write(std::span<const std::byte> bytes) {
    WriteSignalShield shield;
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            if (written == 0) errno = EIO;
            shield.Failed(errno);
            return Fail();
        }
    }
    return true;
}

bool PlainFile::Seek(std::int64_t offset) {
    return ::lseek(descriptor_, offset, SEEK_SET) >= 0 || Fail();
}

bool PlainFile::SeekToEnd() {
    return ::lseek(descriptor_, 0, SEEK_END) >= 0 || Fail();
}

std::int64_t PlainFile::Tell() {
    const std::int64_t at = ::lseek(descriptor_, 0, SEEK_CUR);
    if (at < 0) (void)Fail();
    return at;
}

bool PlainFile::Close() {
    if (descriptor_ < 0) return true;
    const int closed = ::close(descriptor_);
    descriptor_ = -1;
    // Not closed again after EINTR: the descriptor is released even then, and its number may belong
    // to a file of the host already.
    return closed == 0 || errno == EINTR || Fail();
}
