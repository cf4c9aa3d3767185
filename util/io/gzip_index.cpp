// Reading a gzip file at any place: who inflates what, and from where.

#include "util/io/gzip_index.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "util/io/gzip_stream.h"

namespace {

constexpr std::size_t kMostWaiting = 8;  // streams, of about 90 KB
constexpr auto kHistory = static_cast<std::int64_t>(GzipStream::kHistory);

/// What a read answers that got `got` bytes from `stream`. Where a stream is damaged it ends.
std::int64_t Answer(std::size_t got, std::size_t wanted, const GzipStream& stream) {
    if (got < wanted && stream.GetState() == GzipStream::State::kUnreadable) return -1;
    return static_cast<std::int64_t>(got);
}

}  // namespace

GzipIndex::GzipIndex(int descriptor, std::int64_t span) : descriptor_(descriptor), span_(span) {
    entries_.push_back(std::make_shared<const GzipEntry>());
    waiting_.reserve(kMostWaiting);  // so that keeping a stream cannot fail
}

GzipIndex::~GzipIndex() {
    ::close(descriptor_);
}

GzipIndex::Stream GzipIndex::Begin(const GzipEntry& entry) const {
    const auto read = [descriptor = descriptor_](std::int64_t offset, std::span<std::byte> bytes) {
        ssize_t got;
        do {
            got = ::pread(descriptor, bytes.data(), bytes.size(), offset);
        } while (got < 0 && errno == EINTR);
        return std::int64_t{got};
    };
    return std::make_unique<GzipStream>(read, entry);
}

std::int64_t GzipIndex::ReadAt(std::int64_t offset, std::span<std::byte> bytes) {
    if (offset < 0) {
        errno = EINVAL;
        return -1;
    }
    std::int64_t total = 0;
    while (!bytes.empty()) {
        const std::int64_t read = ReadPiece(offset + total, bytes);
        if (read < 0) return -1;
        if (read == 0) break;
        total += read;
        bytes = bytes.subspan(static_cast<std::size_t>(read));
    }
    return total;
}

/// Reads from where the scout has been as far as it has been, and else with the scout.
std::int64_t GzipIndex::ReadPiece(std::int64_t offset, std::span<std::byte> bytes) {
    std::int64_t read = 0;
    if (offset >= frontier_.load(std::memory_order_relaxed) - kHistory &&
        ReadWithScout(offset, bytes, &read))
        return read;
    // No further than the scout has been: only it knows whether a member's checksum is right.
    const std::int64_t left = frontier_.load(std::memory_order_relaxed) - offset;
    const auto there = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(left)));
    Stream stream = TakeStream(offset);
    read = Answer(stream->Read(offset, there), there.size(), *stream);
    Keep(std::move(stream));
    return read;
}

/// False: the scout has gone past `offset`.
bool GzipIndex::ReadWithScout(std::int64_t offset, std::span<std::byte> bytes, std::int64_t* read) {
    TgMutexGuard hold(scout_lock_);
    // Put back only if nothing is thrown: what was thrown may have spoiled it.
    Stream scout = scout_ ? std::move(scout_) : Begin(*LastEntry());
    const bool is_near = offset >= scout->Begin();
    if (is_near) {
        const std::size_t got =
            scout->Read(offset, bytes, [&]() UTIL_NO_THREAD_ANALYSIS { Note(*scout); });
        *read = Answer(got, bytes.size(), *scout);
    }
    scout_ = std::move(scout);
    return is_near;
}

void GzipIndex::Note(const GzipStream& scout) {
    if (scout.End() > frontier_.load(std::memory_order_relaxed))
        frontier_.store(scout.End(), std::memory_order_relaxed);
    if (!scout.IsAtEntry()) return;
    TgMutexGuard hold(table_lock_);
    if (scout.End() - entries_.back()->out < span_) return;
    entries_.push_back(std::make_shared<const GzipEntry>(scout.Entry()));
    if (entries_.size() > kMostEntries) SpreadEntries();
}

/// Gives every second entry up.
void GzipIndex::SpreadEntries() {
    span_ *= 2;
    for (std::size_t i = 1; 2 * i < entries_.size(); ++i) entries_[i] = entries_[2 * i];
    entries_.resize((entries_.size() + 1) / 2);
}

GzipIndex::Entry GzipIndex::LastEntry() {
    TgMutexGuard hold(table_lock_);
    return entries_.back();
}

/// A stream that comes to `offset` soon: the waiting one that is nearest before it, unless it has
/// more than half of the way from the last entry before it. So nobody takes another's stream for
/// a small gain.
GzipIndex::Stream GzipIndex::TakeStream(std::int64_t offset) {
    Entry entry;
    {
        TgMutexGuard hold(table_lock_);
        entry = *(std::upper_bound(entries_.begin(), entries_.end(), offset,
                                   [](std::int64_t wanted, const Entry& candidate) {
                                       return wanted < candidate->out;
                                   }) -
                  1);
        auto best = waiting_.end();
        std::int64_t way = (offset - entry->out) / 2;
        for (auto it = waiting_.begin(); it != waiting_.end(); ++it) {
            const std::int64_t its_way = std::max<std::int64_t>(offset - (*it)->End(), 0);
            if ((*it)->Begin() > offset || its_way > way) continue;
            best = it;
            way = its_way;
        }
        if (best != waiting_.end()) {
            Stream taken = std::move(*best);
            waiting_.erase(best);
            return taken;
        }
    }
    return Begin(*entry);
}

/// Lets `stream` wait for the next read. The one that has waited longest goes.
void GzipIndex::Keep(Stream stream) {
    Stream gone;
    TgMutexGuard hold(table_lock_);
    if (waiting_.size() == kMostWaiting) {
        gone = std::move(waiting_.front());
        waiting_.erase(waiting_.begin());
    }
    waiting_.push_back(std::move(stream));
}
