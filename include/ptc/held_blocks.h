// What an inlined lookup reads: the blocks of points that the calling thread holds. Users of the
// library call PtcGetPoint() of ptc/access.h; nothing here is for them to name.
//
// Units      indexes count points from 0; numbers count blocks of 256 points.
// Errors     as ptc/access.h.
// Ownership  as ptc/access.h.
// Threads    a thread looks only at its own blocks. What is read of a file changes only while no
//            thread uses the file.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "ptc/api.h"
#include "ptc/records.h"

class PtcManagedFile;
class PtcThreadCache;

// Hidden, as PtcGetPoint() is: what was inlined in another version must not take the place of it.
#pragma GCC visibility push(hidden)
namespace ptc_held {

constexpr std::int64_t kBlockPoints = 256;

/// The key of a block of points: the file's identity, and the number of the block in it. Blocks
/// behind the first 2^40 points of a file have no key.
constexpr std::uint64_t KeyOf(std::uint32_t identity, std::uint32_t number) {
    return std::uint64_t{identity} << 32 | number;
}

/// The hash of a block of points. Its low bits are the slot in a thread's table, and the bucket
/// in the shared cache.
constexpr std::uint64_t HashOf(std::uint32_t identity, std::uint64_t number) {
    return std::uint64_t{identity} * 99 + number * 37;
}

/// What a lookup reads of a file, prepared for it. Each PtcManagedFile begins with one; its
/// virtual destructor is what makes it come first.
class CachedFile {
public:
    CachedFile(const CachedFile&) = delete;
    CachedFile& operator=(const CachedFile&) = delete;
    virtual ~CachedFile() = default;

    static const CachedFile& Of(const PtcManagedFile* file) {
        return *reinterpret_cast<const CachedFile*>(file);
    }

    /// Part of every block's key, so no two files of a process ever share one, and a file whose
    /// content has changed has a new one. 0: the file has none.
    std::uint32_t Identity() const { return static_cast<std::uint32_t>(first_key_ >> 32); }

    /// Whether point `index` exists and its block has a key.
    bool HasKeyOf(std::int64_t index) const {
        // As an unsigned number, an index below 0 is above all counts.
        return static_cast<std::uint64_t>(index) < points_with_key_;
    }
    /// Caller: HasKeyOf().
    std::uint64_t Key(std::uint64_t number) const { return first_key_ + number; }
    std::uint64_t Hash(std::uint64_t number) const { return first_hash_ + number * 37; }

    std::size_t FloatsOfPoint() const { return floats_of_point_; }

protected:
    CachedFile() = default;
    void SetIdentity(std::uint32_t identity) {
        first_key_ = KeyOf(identity, 0);
        first_hash_ = HashOf(identity, 0);
    }
    /// `floats`: of the data of each point.
    void SetPoints(std::int64_t points, std::int32_t floats) {
        floats_of_point_ = floats > 0 ? static_cast<std::size_t>(floats) : 0;
        constexpr std::uint64_t kMost = std::uint64_t{kBlockPoints} << 32;
        const auto count = static_cast<std::uint64_t>(points);
        points_with_key_ = count < kMost ? count : kMost;
    }

private:
    std::uint64_t first_key_ = 0;
    std::uint64_t first_hash_ = 0;
    std::uint64_t points_with_key_ = 0;
    std::size_t floats_of_point_ = 0;
};

/// A block that the thread holds. No block has key 0: an empty slot.
struct Slot {
    std::uint64_t key;
    const PtcPoint* points;
};

/// A thread's slots, found by the hash of a block.
struct Table {
    const Slot* slots;
    std::size_t mask;
    std::atomic<unsigned long> found;  ///< lookups: written by one thread, read by others' reports

    /// One writer: a load and a store replace a locked increment.
    void CountFound() {
        found.store(found.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
};

/// A table that holds nothing. Only the library names it.
extern Table nothing;

/// What lookups know of the calling thread. It has no destructor, because thread-local objects
/// with destructors keep the library loaded until their threads end. Its model makes the access
/// one load also in a shared object, where it would be a call for each lookup. For that all
/// thread-local variables of the shared library, 56 bytes, come out of the few hundred that the
/// system keeps.
struct ThisThread {
    Table* points = &nothing;  ///< always valid: the end of the caches empties it
    PtcThreadCache* record = nullptr;
    std::uint64_t life = 0;  ///< of the caches, in which `record` is valid
};
PTC_API extern constinit thread_local ThisThread this_thread [[gnu::tls_model("initial-exec")]];

/// Answers point `index` of `file`, reading its block if the calling thread does not hold it.
/// Null: as PtcGetPoint().
[[gnu::cold]] PTC_API const PtcPoint* Fetch(PtcManagedFile* file, std::int64_t index);

/// The same, without a call if the thread holds the block.
inline const PtcPoint* Get(PtcManagedFile* file, std::int64_t index) {
    if (!file) [[unlikely]]
        return Fetch(file, index);
    const CachedFile& of_file = CachedFile::Of(file);
    if (!of_file.HasKeyOf(index)) [[unlikely]]
        return Fetch(file, index);
    const std::uint64_t number = static_cast<std::uint64_t>(index) / kBlockPoints;
    Table& table = *this_thread.points;
    const Slot& slot = table.slots[of_file.Hash(number) & table.mask];
    if (slot.key != of_file.Key(number)) [[unlikely]]
        return Fetch(file, index);
    table.CountFound();
    return slot.points + static_cast<std::uint64_t>(index) % kBlockPoints;
}

}  // namespace ptc_held
#pragma GCC visibility pop
