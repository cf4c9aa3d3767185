// The plain file: system calls, and the signals that they must not raise in the host.

#include "util/plain_file.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace {

/// Keeps SIGXFSZ and SIGPIPE, which a write beyond the file size limit or into a closed pipe
/// sends to the writing thread, from ending the host. The host's handlers stay as they are.
class WriteSignalShield {
public:
    WriteSignalShield() {
        sigemptyset(&ours_);
        sigaddset(&ours_, SIGXFSZ);
        sigaddset(&ours_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &ours_, &before_);
    }
    WriteSignalShield(const WriteSignalShield&) = delete;
    WriteSignalShield& operator=(const WriteSignalShield&) = delete;

    ~WriteSignalShield() {
        if (raised_) {
            const timespec at_once = {};
            sigtimedwait(&ours_, nullptr, &at_once);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    /// A write failed with `error`: takes back the signal that came with it.
    void Failed(int error) { raised_ = error == EFBIG || error == EPIPE; }

private:
    sigset_t ours_;
    sigset_t before_;
    bool raised_ = false;
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
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (mode & kPlainTruncate ? O_TRUNC : 0);
    do {
        descriptor_ = ::open(name, flags, 0666);
    } while (descriptor_ < 0 && errno == EINTR);
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

std::int64_t PlainFile::Tell() const {
    return ::lseek(descriptor_, 0, SEEK_CUR);
}

bool PlainFile::Close() {
    if (descriptor_ < 0) return true;
    const int closed = ::close(descriptor_);
    descriptor_ = -1;
    // Interrupted or not, the descriptor is gone: a second close could hit a file of the host's.
    return closed == 0 || errno == EINTR || Fail();
}
