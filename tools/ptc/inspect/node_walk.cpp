// NodeWalk: down the references that can be trusted.

#include "tools/ptc/inspect/node_walk.h"

#include <algorithm>

#include "ptc/format/layout.h"

namespace {

/// Two nodes never begin closer together than the smallest record, in either form.
constexpr std::int64_t kMinNode = static_cast<std::int64_t>(ptc_layout::MinNodeBytes(0));

}  // namespace

NodeWalk::NodeWalk(CloudReader& cloud, std::int64_t begin, std::int64_t end,
                   std::int64_t root_place, FaultList& faults)
    : cloud_(cloud),
      begin_(begin),
      end_(end),
      root_place_(root_place),
      faults_(faults),
      data_(static_cast<std::size_t>(cloud.node_variables.data_size)),
      seen_(static_cast<std::size_t>(std::max<std::int64_t>(0, end - begin) / kMinNode + 1)) {}

bool NodeWalk::Next(NodeVisit* visit) {
    if (cloud_.input.Error() != 0) return false;
    const bool is_entered =
        has_begun_ ? EnterNextChild() : Enter(cloud_.root_position, end_, root_place_);
    has_begun_ = true;
    if (!is_entered) return false;
    const Step& step = path_.back();
    visit->offset = step.offset;
    visit->end = step.end;
    visit->depth = static_cast<int>(path_.size()) - 1;
    visit->node = &step.node;
    visit->parent = path_.size() > 1 ? &path_[path_.size() - 2].node : nullptr;
    visit->data = data_;
    return true;
}

/// Goes up until there is a child that is not entered yet and can be. The path is a vector, not
/// the machine's stack: its depth is the file's to choose, up to the limit.
bool NodeWalk::EnterNextChild() {
    while (!path_.empty()) {
        Step& parent = path_.back();
        if (parent.next_child == 8) {
            path_.pop_back();
            continue;
        }
        const unsigned child = parent.next_child++;
        if (!(parent.node.child_mask >> child & 1U)) continue;
        const std::int64_t offset = parent.node.children[child];
        const std::int64_t place = ChildPlace(parent, child);
        if (parent.children_end != 0 && offset != parent.children_end)
            faults_.Add(place, "node at {}: child {} does not follow the child before it",
                        parent.offset, child);
        const std::size_t depth = path_.size();
        if (!Enter(offset, parent.offset, place)) continue;
        path_[depth - 1].children_end = path_.back().end;  // the vector may have moved
        return true;
    }
    return false;
}

/// Reads the node at `offset`, which `place` refers to and which must end before `limit`.
bool NodeWalk::Enter(std::int64_t offset, std::int64_t limit, std::int64_t place) {
    if (offset < begin_ || offset >= end_) {
        faults_.Add(place, "reference to {}, outside the nodes' bytes {} to {}", offset, begin_,
                    end_);
        return false;
    }
    // Children stand before their parents. This alone rules out circles.
    if (offset >= limit) {
        faults_.Add(place, "reference to {}, not before the node that refers to it", offset);
        return false;
    }
    // And this keeps a node with many references to it from being walked through for each.
    if (!Mark(offset)) {
        faults_.Add(place, "reference to {}, where another reference leads already", offset);
        return false;
    }
    if (path_.size() > static_cast<std::size_t>(kMaxDepth)) {
        faults_.Add(place, "reference to {}, more than {} levels below the root", offset,
                    kMaxDepth);
        return false;
    }
    Step step;
    step.offset = offset;
    if (Failed(ReadNode(cloud_, offset, &step.node, data_, &step.end)) || step.end > limit) {
        if (cloud_.input.Error() == 0)
            faults_.Add(offset, "node at {}: it is cut off, or no node", offset);
        return false;
    }
    path_.push_back(step);
    return true;
}

/// False: a node begins there, or so close that the two would overlap.
bool NodeWalk::Mark(std::int64_t offset) {
    const auto slot = static_cast<std::size_t>((offset - begin_) / kMinNode);
    if (seen_[slot]) return false;
    seen_[slot] = true;
    return true;
}

/// References stand behind the child mask, one for each child that exists.
std::int64_t NodeWalk::ChildPlace(const Step& parent, unsigned child) const {
    if (cloud_.input.IsText()) return parent.offset;
    std::int64_t place =
        parent.offset + static_cast<std::int64_t>(ptc_layout::MinNodeBytes(data_.size()));
    for (unsigned i = 0; i < child; ++i) place += (parent.node.child_mask >> i & 1U) ? 8 : 0;
    return place;
}

std::int64_t NodeWalk::Place(const NodeVisit& visit, std::size_t index) const {
    return cloud_.input.IsText() ? visit.offset
                                 : visit.offset + static_cast<std::int64_t>(4 * index);
}
