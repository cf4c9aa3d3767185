// `PtcPointCache` and `PtcNodeCache`: shared caches of 256 points, and of the 8 children of a node.
//
// Units      indexes in points, references in bytes of the file, memory in bytes.
// Errors     as in ptc/cache/shared_cache.h.
// Ownership  likewise; a block owns its records and their data floats.
// Threads    likewise.

#pragma once

#include "ptc/cache/shared_cache.h"
#include "ptc/cloud/cloud_messages.h"

/// A block's key is its first point, a multiple of 256. The last block of a file may be short: its
/// records after the last point are zero.
class PtcPointCache final : public PtcSharedCache {
public:
    static constexpr std::int64_t kPoints = ptc_held::kBlockPoints;
    static constexpr std::int64_t kRecordBytes = kPoints * std::int64_t{sizeof(PtcPoint)};

    PtcPointCache(std::int32_t capacity, PtcCacheStats& stats)
        : PtcSharedCache({&PtcCacheStats::points, cloud_messages::PointsAreUnreadable}, capacity,
                         stats) {}
    ~PtcPointCache() override { FreeBlocks(); }

    /// The hash of the block that begins with point `first`. A bucket's number and a slot in a
    /// thread's table are low bits of the same hash, so a lookup computes it once.
    static std::uint64_t Hash(std::uint32_t identity, std::int64_t first) {
        return ptc_held::HashOf(identity, static_cast<std::uint64_t>(first / kPoints));
    }

    /// The first point of the block that contains point `index`, also for indexes below 0.
    static std::int64_t FirstOf(std::int64_t index) { return index & ~(kPoints - 1); }
    static std::size_t PlaceOf(std::int64_t index) {
        return static_cast<std::size_t>(index & (kPoints - 1));
    }

private:
    std::uint64_t HashOf(std::uint32_t identity, std::int64_t first) const override {
        return Hash(identity, first);
    }
    bool MakeRoom(PtcCacheBlock& block, const PtcBlockSource& file) override;
    CloudStatus Fill(PtcCacheBlock& block, const PtcBlockRequest& request) override;
    unsigned long ItemsIn(const PtcBlockRequest& request) const override;
    std::int64_t BytesOf(const PtcCacheBlock& block) const override;
    void FreeData(PtcCacheBlock& block) override;
};
static_assert(PtcPointCache::kRecordBytes == 10240);

/// A block's key is the parent's reference. The records of absent children are zero except for
/// their data pointers: each record has a data array of its own.
class PtcNodeCache final : public PtcSharedCache {
public:
    static constexpr std::int64_t kRecordBytes = kNodeChildren * std::int64_t{sizeof(PtcNode)};

    PtcNodeCache(std::int32_t capacity, PtcCacheStats& stats)
        : PtcSharedCache({&PtcCacheStats::nodes, cloud_messages::NodesAreUnreadable}, capacity,
                         stats) {}
    ~PtcNodeCache() override { FreeBlocks(); }

    /// The hash of the children of the node at `reference`.
    static std::uint64_t Hash(std::uint32_t identity, std::int64_t reference) {
        return std::uint64_t{identity} * 99 + static_cast<std::uint64_t>(reference) * 7;
    }

private:
    std::uint64_t HashOf(std::uint32_t identity, std::int64_t reference) const override {
        return Hash(identity, reference);
    }
    bool MakeRoom(PtcCacheBlock& block, const PtcBlockSource& file) override;
    CloudStatus Fill(PtcCacheBlock& block, const PtcBlockRequest& request) override;
    unsigned long ItemsIn(const PtcBlockRequest& request) const override;
    std::int64_t BytesOf(const PtcCacheBlock& block) const override;
    void FreeData(PtcCacheBlock& block) override;
};
static_assert(PtcNodeCache::kRecordBytes == 832);
