// Reading ahead of a run.

#include "ptc/cloud/points_ahead.h"

#include <cerrno>
#include <new>

const std::byte* PointsAhead::Find(RandomSource& source, std::int64_t offset, std::size_t wanted,
                                   std::int64_t most) {
    const auto size = static_cast<std::int64_t>(wanted);
    if (has_failed_) return nullptr;
    const auto is_there = [&] {
        return source_ == &source && offset >= begin_ && offset - begin_ <= count_ - size;
    };
    if (!is_there()) {
        if (most < 2 * size) return nullptr;  // a block alone needs no second place
        if (!bytes_) bytes_.reset(new (std::nothrow) std::byte[kMost]);
        if (!bytes_) return nullptr;
        const int error = errno;
        source_ = &source;
        begin_ = offset;
        count_ = source.ReadAt(offset, {bytes_.get(), static_cast<std::size_t>(most)});
        has_failed_ = count_ < size;
        if (has_failed_) {
            errno = error;  // the caller's read shall say what there is to say
            return nullptr;
        }
    }
    return &bytes_[static_cast<std::size_t>(offset - begin_)];
}
