// Reads a gzip file at any offset: chooses the stream that inflates, and stores the entries.

#include "util/io/gzip_index.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "util/io/gzip_stream.h"

namespace {

constexpr std::size_t kMostWaiting = 8;  // streams of about 140 KB each
constexpr auto kRing = static_cast<std::int64_t>(GzipStream::kRing);

/// The result of a read that got `got` bytes from `stream`. A damaged stream counts as ended.
std::int64_t Answer(std::size_t got, std::size_t wanted, const GzipStream& stream) {
    if (got < wanted && stream.GetState() == GzipStream::State::kUnreadable) return -1;
    return static_cast<std::int64_t>(got);
}

}  // namespace

GzipIndex::GzipIndex(int descriptor, std::int64_t span) : descriptor_(descriptor), span_(span) {
    entries_.push_back(std::make_shared<const GzipEntry>());
    waiting_.reserve(kMostWaiting);  // so that Keep() never allocates
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

/// Reads with the scout if it is near `offset` or has not come that far yet, otherwise with
/// another stream. Returns fewer bytes than wanted at the place that the scout has reached.
std::int64_t GzipIndex::ReadPiece(std::int64_t offset, std::span<std::byte> bytes) {
    std::int64_t read = 0;
    if (offset >= frontier_.load(std::memory_order_relaxed) - kRing &&
        ReadWithScout(offset, bytes, &read))
        return read;
    // Not beyond the scout: only it checks the checksums of members, because it begins at their
    // headers.
    const std::int64_t left = frontier_.load(std::memory_order_relaxed) - offset;
    const auto there = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(left)));
    Stream stream = TakeStream(offset);
    read = Answer(stream->Read(offset, there), there.size(), *stream);
    Keep(std::move(stream));
    return read;
}

/// Returns false, and reads nothing, if `offset` is before the bytes that the scout still holds.
bool GzipIndex::ReadWithScout(std::int64_t offset, std::span<std::byte> bytes, std::int64_t* read) {
    TgMutexGuard hold(scout_lock_);
    // Moved out, and put back only if nothing throws: an exception may leave the stream unusable.
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

/// Advances the frontier. Stores an entry if the scout is at the start of a block and the last
/// entry is at least span_ bytes back.
void GzipIndex::Note(const GzipStream& scout) {
    if (scout.End() > frontier_.load(std::memory_order_relaxed))
        frontier_.store(scout.End(), std::memory_order_relaxed);
    if (!scout.IsAtEntry()) return;
    TgMutexGuard hold(table_lock_);
    if (scout.End() - entries_.back()->out < span_) return;
    entries_.push_back(std::make_shared<const GzipEntry>(scout.Entry()));
    if (entries_.size() > kMostEntries) SpreadEntries();
}

/// Drops every second entry and doubles the distance. The first, at offset 0, stays.
void GzipIndex::SpreadEntries() {
    span_ *= 2;
    for (std::size_t i = 1; 2 * i < entries_.size(); ++i) entries_[i] = entries_[2 * i];
    entries_.resize((entries_.size() + 1) / 2);
}

GzipIndex::Entry GzipIndex::LastEntry() {
    TgMutexGuard hold(table_lock_);
    return entries_.back();
}

/// A stream that reaches `offset` soon: the nearest waiting one before it, if that saves at least
/// half of the way from the last entry before `offset`; otherwise a new one from that entry. A
/// thread thus does not take another thread's stream for a small gain.
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

/// Keeps `stream` for a later read; if there are too many, drops the one that has waited longest.
void GzipIndex::Keep(Stream stream) {
    Stream gone;  // destroyed after the lock is released
    TgMutexGuard hold(table_lock_);
    if (waiting_.size() == kMostWaiting) {
        gone = std::move(waiting_.front());
        waiting_.erase(waiting_.begin());
    }
    waiting_.push_back(std::move(stream));
}
