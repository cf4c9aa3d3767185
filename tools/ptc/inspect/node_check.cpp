// The octree's check.

#include "tools/ptc/inspect/node_check.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "tools/ptc/inspect/node_faults.h"
#include "tools/ptc/point_scan.h"

namespace {

// The fields of a node as NodeWalk::Place() counts them.
constexpr std::size_t kFirstPoint = 0;
constexpr std::size_t kPointCount = 1;
constexpr std::size_t kBox = 2;
constexpr std::size_t kData = 8;

/// Text has seven digits: two numbers that were equal may differ by their last one.
constexpr float kNodeTextSlack = 1e-6f;

/// Checks each node against its parent, the points and the header.
class NodeCheck {
public:
    NodeCheck(CloudReader& cloud, const NodeWalk& walk, FaultList& faults)
        : cloud_(cloud), walk_(walk), faults_(faults) {}

    void Check(const NodeVisit& visit) {
        const std::int64_t before = faults_.Total();
        CheckRun(visit);
        CheckBox(visit);
        CheckData(visit);
        // Only a node that is sound says which points to look at, and where they must be. In text
        // form every leaf would need the file to be read from its first point on.
        const bool is_leaf = visit.node->child_mask == 0;
        if (is_leaf && faults_.Total() == before && !cloud_.input.IsText()) CheckPoints(visit);
    }

private:
    /// The points of the node: a run that exists, within the parent's. In 64 bits, because sums of
    /// the file's 32-bit numbers need not fit 32.
    void CheckRun(const NodeVisit& visit) {
        const std::int64_t first = visit.node->first_point;
        const std::int64_t count = visit.node->point_count;
        if (first < 0 || first > cloud_.point_count)
            faults_.Add(walk_.Place(visit, kFirstPoint), "node at {}: first point {} of {}",
                        visit.offset, first, cloud_.point_count);
        if (count < 0 || first + count > cloud_.point_count)
            faults_.Add(walk_.Place(visit, kPointCount), "node at {}: {} points from {} on, of {}",
                        visit.offset, count, first, cloud_.point_count);
        if (!visit.parent) return;
        const std::int64_t parent_first = visit.parent->first_point;
        const std::int64_t parent_end = parent_first + visit.parent->point_count;
        if (first < parent_first || first + count > parent_end)
            faults_.Add(walk_.Place(visit, kFirstPoint),
                        "node at {}: its points {} to {} are not all its parent's, {} to {}",
                        visit.offset, first, first + count, parent_first, parent_end);
    }

    /// The first three values of a box are its minimum. A comparison with NaN
    /// is false, so such a value is reported once, as what it is.
    void CheckBox(const NodeVisit& visit) {
        const float* const box = visit.node->box;
        for (std::size_t i = 0; i < 6; ++i)
            if (!std::isfinite(box[i]))
                faults_.Add(walk_.Place(visit, kBox + i), "node at {}: box value {} is {}",
                            visit.offset, i, box[i]);
        for (std::size_t i = 0; i < 3; ++i)
            if (box[i] > box[i + 3])
                faults_.Add(walk_.Place(visit, kBox + i),
                            "node at {}: box minimum {} lies above the maximum {}", visit.offset,
                            box[i], box[i + 3]);
        for (std::size_t i = 0; visit.parent && i < 6; ++i) {
            const float outer = visit.parent->box[i];
            if (i < 3 ? IsBelow(box[i], outer) : IsBelow(outer, box[i]))
                faults_.Add(walk_.Place(visit, kBox + i),
                            "node at {}: box value {}, {}, lies outside its parent's, {}",
                            visit.offset, i, box[i], outer);
        }
    }

    bool IsBelow(float value, float bound) const {
        const float slack = cloud_.input.IsText() ? kNodeTextSlack * std::fabs(bound) : 0.0f;
        return value < bound - slack;
    }

    void CheckData(const NodeVisit& visit) {
        for (std::size_t i = 0; i < visit.data.size(); ++i)
            if (!std::isfinite(visit.data[i]))
                faults_.Add(walk_.Place(visit, kData + i), "node at {}: data value {} is {}",
                            visit.offset, i, visit.data[i]);
    }

    /// Every point of a leaf lies in its box. Each point belongs to at most one leaf, which also
    /// limits what is read when many leaves name the same points.
    void CheckPoints(const NodeVisit& visit) {
        const std::int64_t count = visit.node->point_count;
        leaf_points_ += count;
        if (leaf_points_ > cloud_.point_count) {
            faults_.Add(walk_.Place(visit, kPointCount),
                        "node at {}: up to this leaf they cover {} points, of {}", visit.offset,
                        leaf_points_, cloud_.point_count);
            return;
        }
        const std::int64_t first = visit.node->first_point;
        PointScan scan(cloud_, first, first + count);
        while (scan.Next())
            CheckInBox(visit, scan.Values().subspan(PointScan::kPosition), scan.Count() - 1);
        // They could be read when the points were checked.
        if (scan.Count() < first + count && cloud_.input.Error() == 0)
            faults_.Add(scan.End(), "node at {}: point {} cannot be read again", visit.offset,
                        scan.Count());
    }

    void CheckInBox(const NodeVisit& visit, std::span<const float> position, std::int64_t index) {
        const float* const box = visit.node->box;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const float value = position[axis];
            if (value < box[axis] || value > box[axis + 3])
                faults_.Add(walk_.Place(visit, kBox + axis),
                            "node at {}: point {} lies outside its box, {} not within {} to {}",
                            visit.offset, index, value, box[axis], box[axis + 3]);
        }
    }

    CloudReader& cloud_;
    const NodeWalk& walk_;
    FaultList& faults_;
    std::int64_t leaf_points_ = 0;
};

}  // namespace

void CheckNodes(CloudReader& cloud, const HeaderPlaces& places, std::int64_t begin,
                FaultList& faults, Progress* progress) {
    const std::int64_t end = cloud.input.StoredBytes();
    const std::int64_t before = faults.Total();
    NodeFaults listener(begin, end, faults);
    NodeWalk walk(cloud, begin, places.root_position, listener);
    NodeCheck check(cloud, walk, faults);
    std::int64_t nodes = 0;
    std::int64_t bytes = 0;
    std::int64_t root_end = end;
    NodeVisit visit;
    while (walk.Next(&visit)) {
        if (nodes++ == 0) root_end = visit.end;
        bytes += visit.end - visit.offset;
        check.Check(visit);
        progress->Show(static_cast<std::uint64_t>(cloud.point_count + nodes));
    }
    // Nothing is known of nodes that could not be read.
    if (cloud.input.Error() != 0) return;
    if (root_end != end)
        faults.Add(root_end, "{} bytes behind the root node, which is the last", end - root_end);
    // Nodes that a fault above makes unreachable are not faults of their own.
    if (faults.Total() != before) return;
    if (nodes != cloud.stored_node_count)
        faults.Add(places.node_count, "nnodes: {}, but the root leads to {}",
                   cloud.stored_node_count, nodes);
    if (bytes != end - begin)
        faults.Add(begin, "{} bytes among the nodes belong to none that the root leads to",
                   end - begin - bytes);
}
