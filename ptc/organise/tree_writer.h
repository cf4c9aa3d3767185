// TreeWriter: writes sorted points, and the nodes of their octree.
//
// Units      points count from 0 in the output.
// Errors     throws OrganiseError and std::bad_alloc.
// Ownership  borrows file, crew and records; owns the nodes that wait.
// Threads    one caller at a time; the crew's threads gather, add up and write.
//
// Points come in batches, each behind the last one. Where a leaf ends is known only when as many
// points follow as a leaf may have, so the last points of a batch may have to come again.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ptc/organise/batch_sort.h"
#include "ptc/organise/node_writer.h"
#include "ptc/organise/octree_nodes.h"
#include "ptc/organise/organised_file.h"
#include "ptc/organise/work_crew.h"

class TreeWriter {
public:
    struct Limits {
        std::size_t leaf_points;
        std::size_t slice_points;  ///< that a thread gathers at a time
    };

    /// What follows a batch.
    enum class Then {
        kMore,      ///< another batch
        kSameCode,  ///< Continue(): more points of the last code than `leaf_points` + 1 here
        kEnd,       ///< only points without a place
    };

    /// `light`: nothing if the nodes have no data for it.
    TreeWriter(OrganisedFile& file, Limits limits, const std::optional<LightChoice>& light,
               WorkCrew& crew);

    /// Takes `batch`, the first `finite` of whose points have places; only with kEnd there may be
    /// others. Returns how many of the finite it took: the rest must begin the next batch.
    std::size_t Write(const BatchRoom& batch, std::size_t finite, Then then);

    /// Further points of the last leaf, then its end.
    void Continue(std::span<const std::byte> records);
    void EndContinued();

    /// Points without a place, behind all others.
    void WriteNowhere(std::span<const std::byte> records);

    /// No point follows.
    void Finish();

    std::int64_t Points() const { return points_; }
    std::int64_t NotFinite() const { return points_ - finite_; }
    float LargestRadius() const { return largest_radius_; }
    const NodeWriter& Nodes() const { return nodes_; }

private:
    struct Leaf {
        std::int64_t first = 0;
        std::int64_t count = 0;
        std::uint64_t first_code = 0;
        std::uint64_t last_code = 0;
        PositionBox box;
    };

    /// What a worker has of the slice that it works on.
    struct Slice {
        std::vector<std::byte> gathered;
        std::size_t fill = 0;
        std::int64_t next_point = 0;  ///< that the gathered ones begin with
        std::vector<Leaf> leaves;
        std::vector<double> sums;  ///< of each leaf
        float largest_radius = 0;
    };

    void WriteSlice(const BatchRoom& batch, const LeafCutter& cutter, std::size_t begin,
                    std::size_t end, Slice& slice);
    void Gather(const std::byte* record, Slice& slice);
    void WriteGathered(Slice& slice);
    void AddLeaves(const Slice& slice, std::int64_t held_end);
    void AddLeaf(const Leaf& leaf, const double* sums);

    OrganisedFile& file_;
    const Limits limits_;
    WorkCrew& crew_;
    const std::size_t record_bytes_;
    const NodeSums sums_;
    NodeWriter nodes_;
    OctreeStack<UnwrittenNode, NodeWriter> stack_;
    std::vector<Slice> slices_;

    std::int64_t points_ = 0;
    std::int64_t finite_ = 0;
    std::uint64_t last_code_ = kCodeOfNowhere;
    float largest_radius_ = 0;

    Leaf continued_;  ///< the leaf that Continue() adds to
    PointBounds continued_bounds_;
    std::vector<double> continued_sums_;
};
