// A chunk in memory for each octant; a full one goes to the file.

#include "ptc/organise/partition.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "ptc/organise/octree_nodes.h"

namespace {

/// What is collected of an octant.
struct Collected {
    PartBucket bucket;
    std::size_t fill = 0;
};

}  // namespace

std::vector<PartBucket> Partition::Distribute(const NextRecords& next, int shared) {
    const int levels = std::min(levels_, kOctreeLevels - shared);
    const std::size_t octants = std::size_t{1} << (3 * levels);
    const int shift = 3 * (kOctreeLevels - shared - levels);
    const std::size_t record = file_.RecordBytes();
    const std::size_t chunk = file_.ChunkBytes();
    // Octants without points cost no memory: their pages are never touched.
    const auto chunks = std::make_unique_for_overwrite<std::byte[]>((octants + 1) * chunk);
    std::vector<Collected> parts(octants + 1);
    std::vector<std::byte> piece(chunk);
    const auto put_out = [&](std::size_t part) {
        file_.Append(parts[part].bucket.points, {chunks.get() + part * chunk, parts[part].fill});
        parts[part].fill = 0;
    };

    while (const std::size_t bytes = next(piece)) {
        for (std::size_t at = 0; at < bytes; at += record) {
            float position[3];
            std::memcpy(position, &piece[at], sizeof position);
            const std::uint64_t code = cube_.CodeOf(position);
            const std::size_t part =
                code == kCodeOfNowhere ? octants : code >> shift & (octants - 1);
            Collected& to = parts[part];
            to.bucket.least = std::min(to.bucket.least, code);
            to.bucket.greatest = std::max(to.bucket.greatest, code);
            std::memcpy(chunks.get() + part * chunk + to.fill, &piece[at], record);
            to.fill += record;
            if (to.fill == chunk) put_out(part);
        }
        progress_.Tell();
    }
    std::vector<PartBucket> buckets;
    for (std::size_t part = 0; part <= octants; ++part) {
        put_out(part);
        if (parts[part].bucket.points.records > 0) buckets.push_back(parts[part].bucket);
    }
    return buckets;
}

std::vector<PartBucket> Partition::Distribute(PartBucket bucket) {
    return Distribute(
        [&](std::span<std::byte> room) { return file_.TakeFirst(bucket.points, room); },
        SharedLevels(bucket.least, bucket.greatest));
}
