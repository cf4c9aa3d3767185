// ValueFile: whole pieces at their places.

#include "tools/ptc/light/value_file.h"

#include <unistd.h>

#include <cerrno>

#include "tools/common/failure.h"

namespace lighting {

namespace {

/// Calls `move(bytes, count, offset)` until all of `values` is moved. `move` answers as pread().
template <class Byte, class Move>
void MoveAll(Byte* bytes, std::size_t count, std::int64_t offset, Move move) {
    while (count > 0) {
        const ssize_t moved = move(bytes, count, offset);
        if (moved < 0 && errno == EINTR) continue;
        if (moved <= 0) FailWithErrno("temporary file", moved < 0 ? errno : EIO);
        bytes += moved;
        count -= static_cast<std::size_t>(moved);
        offset += moved;
    }
}

}  // namespace

void ValueFile::Write(std::int64_t first, std::span<const float> values) const {
    const auto bytes = std::as_bytes(values);
    MoveAll(bytes.data(), bytes.size(), first * std::int64_t{sizeof(float)},
            [this](const std::byte* from, std::size_t count, std::int64_t offset) {
                return ::pwrite(spool_.Descriptor(), from, count, offset);
            });
}

void ValueFile::Read(std::int64_t first, std::span<float> values) const {
    const auto bytes = std::as_writable_bytes(values);
    MoveAll(bytes.data(), bytes.size(), first * std::int64_t{sizeof(float)},
            [this](std::byte* to, std::size_t count, std::int64_t offset) {
                return ::pread(spool_.Descriptor(), to, count, offset);
            });
}

}  // namespace lighting
