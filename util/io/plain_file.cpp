// The system calls of PlainFile.

#include "util/io/plain_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "util/io/open_file.h"
#include "util/io/write_signal_shield.h"

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
