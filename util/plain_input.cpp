// The plain file for reading.

#include "util/plain_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>

#include "util/open_file.h"

namespace {

/// zlib takes lengths of 32 bits; a file is read in pieces no larger.
constexpr std::size_t kMaxPiece = std::size_t{1} << 30;

constexpr unsigned kInflateBuffer = 1U << 16;

gzFile Stream(void* stream) {
    return static_cast<gzFile>(stream);
}

}  // namespace

PlainInput::~PlainInput() {
    if (stream_) {
        gzclose(Stream(stream_));
    } else if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

bool PlainInput::Fail(int error) {
    if (error_ == 0) error_ = error;
    return false;
}

bool PlainInput::Open(const char* name, bool allow_gzip) {
    error_ = 0;
    descriptor_ = OpenFile(name, O_RDONLY);
    if (descriptor_ < 0) return Fail(errno);

    struct stat info;
    if (::fstat(descriptor_, &info) == 0) {
        if (S_ISDIR(info.st_mode)) return Fail(EISDIR);
        if (S_ISREG(info.st_mode)) stored_bytes_ = info.st_size;
    }
    if (!allow_gzip) return true;
    stream_ = gzdopen(descriptor_, "rb");
    if (!stream_) return Fail(ENOMEM);
    gzbuffer(Stream(stream_), kInflateBuffer);
    is_compressed_ = gzdirect(Stream(stream_)) == 0;
    return true;
}

std::int64_t PlainInput::Read(std::span<std::byte> bytes) {
    std::int64_t total = 0;
    while (!bytes.empty()) {
        const std::size_t piece = std::min(bytes.size(), kMaxPiece);
        std::int64_t read = 0;
        if (stream_) {
            read = gzread(Stream(stream_), bytes.data(), static_cast<unsigned>(piece));
            // A stream that breaks off is an end for zlib's caller, but bytes are missing. What
            // came before is handed out first.
            int status = Z_OK;
            gzerror(Stream(stream_), &status);
            if (read == 0 && status == Z_BUF_ERROR) read = -1;
            if (read < 0) Fail(status == Z_ERRNO ? errno : EIO);
        } else {
            read = ::read(descriptor_, bytes.data(), piece);
            if (read < 0 && errno == EINTR) continue;
            if (read < 0) Fail(errno);
        }
        if (read < 0) return total > 0 ? total : -1;
        if (read == 0) break;
        total += read;
        bytes = bytes.subspan(static_cast<std::size_t>(read));
    }
    return total;
}

bool PlainInput::Seek(std::int64_t offset) {
    if (stream_) return gzseek(Stream(stream_), offset, SEEK_SET) >= 0 || Fail(EIO);
    return ::lseek(descriptor_, offset, SEEK_SET) >= 0 || Fail(errno);
}
