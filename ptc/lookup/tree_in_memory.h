// TreeInMemory: the points of a file without an octree, and an octree over them.
//
// Units      those of ptc/records.h.
// Errors     Make() answers null, and says why; throws std::bad_alloc.
// Ownership  owns points and nodes, and ends the charge for their memory.
// Threads    Make(): any; afterwards immutable.

#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ptc/files/managed_file.h"
#include "ptc/records.h"

class PtcThreadCache;

class TreeInMemory final : public PtcFileCompanion {
public:
    enum class Problem { kNone, kTooLarge, kUnreadable };

    /// Reads the points of `file`, and charges `cache`'s timers. The sum of the memory of all trees
    /// stays within `limit` bytes.
    static std::shared_ptr<const TreeInMemory> Make(PtcManagedFile& file, PtcThreadCache& cache,
                                                    std::int64_t limit, Problem* problem);
    ~TreeInMemory() override;

    /// The root, which covers the points whose positions are finite; a leaf without points when
    /// there are none.
    const PtcNode& Root() const { return nodes_[kRoot]; }

    /// The records of the node whose record has `children`. Caller: one of these is not 0.
    const PtcNode* ChildrenOf(const std::int64_t* children) const {
        int octant = 0;
        while (children[octant] == 0) ++octant;
        return &nodes_[static_cast<std::size_t>(children[octant] - octant)];
    }

    /// A point by its place in the octree's order, and its index in the file.
    const PtcPoint* Point(std::int64_t place) const {
        return &points_[static_cast<std::size_t>(place)];
    }
    const std::int32_t* Indexes(std::int64_t place) const {
        return &indexes_[static_cast<std::size_t>(place)];
    }
    std::int64_t NodeCount() const { return static_cast<std::int64_t>(nodes_.size()); }

private:
    /// A reference is a node's place among the nodes: 0 stays what names none.
    static constexpr std::size_t kRoot = 1;
    static constexpr std::int64_t kMostPoints = 0x7FFFFFFF;

    TreeInMemory() = default;
    bool Read(PtcManagedFile& file);
    void Build();

    std::unique_ptr<PtcPoint[]> points_;  ///< those with a finite position, in the octree's order
    std::unique_ptr<float[]> data_;       ///< of the points, in the file's order
    std::vector<std::int32_t> indexes_;
    std::vector<PtcNode> nodes_;  ///< a root, then the children of one node after those of another
    std::int64_t count_ = 0;
    std::int64_t cloud_bytes_ = 0;
    std::int64_t octree_bytes_ = 0;
    std::uint64_t charged_ = 0;  ///< the life of the set that is charged; 0: none
};
