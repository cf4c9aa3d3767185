// Reading of plain and gzip files from front to back.

#include "util/io/plain_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "util/io/gzip_stream.h"
#include "util/io/open_file.h"

PlainInput::PlainInput() = default;

PlainInput::~PlainInput() {
    if (descriptor_ >= 0) ::close(descriptor_);
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
        stamp_ = FileStamp(info);
    }
    return !allow_gzip || LookForGzip();
}

int PlainInput::TakeFile(FileStamp* stamp) {
    *stamp = stamp_;
    return std::exchange(descriptor_, -1);
}

bool PlainInput::MoveTo(std::int64_t place) {
    const bool is_possible = stored_bytes_ >= 0 && place >= 0;
    if (!is_possible && ::lseek(descriptor_, place, SEEK_SET) < 0) return false;
    stored_place_ = place;
    return true;
}

/// A process that is forked from this one shares the descriptor's own place, so that of a regular
/// file is not used.
std::int64_t PlainInput::ReadOnce(std::span<std::byte> bytes) {
    if (stored_bytes_ < 0) return ::read(descriptor_, bytes.data(), bytes.size());
    return ::pread(descriptor_, bytes.data(), bytes.size(), stored_place_);
}

bool PlainInput::LookForGzip() {
    std::array<std::byte, 2> magic;
    const std::int64_t there = ReadStored(magic);
    if (there < 0) return false;
    // A pipe cannot seek back: the bytes read here are returned again by the first ReadStored().
    if (!MoveTo(0)) {
        if (errno != ESPIPE) return Fail(errno);
        ahead_.assign(magic.begin(), magic.begin() + there);
    }
    if (there == 2 && magic[0] == std::byte{0x1F} && magic[1] == std::byte{0x8B}) BeginStream();
    return true;
}

void PlainInput::BeginStream() {
    stream_ = std::make_unique<GzipStream>(
        [this](std::int64_t, std::span<std::byte> bytes) { return ReadStored(bytes); });
}

/// Reads stored bytes from `stored_place_` on.
std::int64_t PlainInput::ReadStored(std::span<std::byte> bytes) {
    const std::size_t looked_at = std::min(ahead_.size(), bytes.size());
    std::copy_n(ahead_.begin(), looked_at, bytes.begin());
    ahead_.erase(ahead_.begin(), ahead_.begin() + static_cast<std::ptrdiff_t>(looked_at));

    auto total = static_cast<std::int64_t>(looked_at);
    while (static_cast<std::size_t>(total) < bytes.size()) {
        const auto rest = bytes.subspan(static_cast<std::size_t>(total));
        const std::int64_t read = ReadOnce(rest);
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) {
            Fail(errno);
            return total > 0 ? total : -1;
        }
        if (read == 0) break;
        total += read;
        stored_place_ += read;
        if (stored_place_ == stored_bytes_) break;  // the next call would only say so
    }
    return total;
}

std::int64_t PlainInput::Read(std::span<std::byte> bytes) {
    if (!stream_) return ReadStored(bytes);
    const std::size_t read = stream_->Read(position_, bytes);
    position_ += static_cast<std::int64_t>(read);
    // A stream that is cut off is an error and not an end, reported after its last good byte.
    const bool has_failed =
        read == 0 && !bytes.empty() && stream_->GetState() != GzipStream::State::kAtEnd;
    if (has_failed) Fail(EIO);  // keeps an earlier errno value of the system
    return has_failed ? -1 : static_cast<std::int64_t>(read);
}

bool PlainInput::Seek(std::int64_t offset) {
    if (!stream_) return MoveTo(offset) || Fail(errno);
    if (offset < 0) return Fail(EINVAL);
    if (offset < stream_->Begin()) {
        if (!MoveTo(0)) return Fail(errno);
        BeginStream();
    }
    position_ = offset;
    return true;
}
