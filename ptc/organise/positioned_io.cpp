// System calls at a place, repeated until all bytes are there.

#include "ptc/organise/positioned_io.h"

#include <unistd.h>

#include <cerrno>

#include "util/io/write_signal_shield.h"

bool WriteAt(int descriptor, std::int64_t offset, std::span<const std::byte> bytes) {
    WriteSignalShield shield;
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), offset);
        if (written > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
            offset += written;
        } else if (written == 0 || errno != EINTR) {
            if (written == 0) errno = EIO;
            shield.Failed(errno);
            return false;
        }
    }
    return true;
}

bool ReadAt(int descriptor, std::int64_t offset, std::span<std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t read = ::pread(descriptor, bytes.data(), bytes.size(), offset);
        if (read > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(read));
            offset += read;
        } else if (read == 0 || errno != EINTR) {
            if (read == 0) errno = EIO;
            return false;
        }
    }
    return true;
}
