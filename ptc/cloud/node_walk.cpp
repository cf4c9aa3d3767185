// NodeWalk: following the references that can be trusted.

#include "ptc/cloud/node_walk.h"

#include <algorithm>

#include "ptc/format/layout.h"

namespace {

/// Two nodes never begin closer together than the smallest record, in either form.
constexpr std::int64_t kMinNode = static_cast<std::int64_t>(ptc_layout::MinNodeBytes(0));

}  // namespace

NodeWalk::NodeWalk(CloudReader& cloud, std::int64_t begin, std::int64_t root_place,
                   NodeListener& listener)
    : cloud_(cloud),
      begin_(begin),
      end_(cloud.input.StoredBytes()),
      root_place_(root_place),
      listener_(listener),
      data_(cloud.node_variables.DataFloats()),
      is_claimed_(
          static_cast<std::size_t>(std::max<std::int64_t>(0, end_ - begin) / kMinNode + 1)) {}

bool NodeWalk::Next(NodeVisit* visit) {
    if (cloud_.input.Error() != 0) return false;
    const NodeFinding root = {NodeFault::kOutside, root_place_, cloud_.root_position, 0, 0};
    const bool is_entered = has_begun_ ? EnterNextChild() : Enter(root, end_);
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

/// Goes up until a child is found that is not entered yet and can be. The path is a vector and not
/// the machine's stack, because the file decides how deep it is, up to the limit.
bool NodeWalk::EnterNextChild() {
    while (!path_.empty()) {
        Step& parent = path_.back();
        if (parent.next_child == 8) {
            path_.pop_back();
            continue;
        }
        const unsigned child = parent.next_child++;
        if (!(parent.node.child_mask >> child & 1U)) continue;
        const NodeFinding reference = {NodeFault::kApart, ChildPlace(parent, child),
                                       parent.node.children[child], parent.offset, child};
        if (parent.children_end != 0 && reference.offset != parent.children_end)
            Tell(NodeFault::kApart, reference);
        const std::size_t depth = path_.size();
        if (!Enter(reference, parent.offset)) continue;
        path_[depth - 1].children_end = path_.back().end;  // the vector may have moved
        return true;
    }
    return false;
}

void NodeWalk::Tell(NodeFault fault, NodeFinding reference) {
    reference.fault = fault;
    listener_.Hear(reference);
}

/// Reads the node that the reference leads to, which must end before `limit`.
bool NodeWalk::Enter(const NodeFinding& reference, std::int64_t limit) {
    const auto refuse = [&](NodeFault fault) {
        Tell(fault, reference);
        return false;
    };
    const std::int64_t offset = reference.offset;
    if (offset < begin_ || offset >= end_) return refuse(NodeFault::kOutside);
    // A child is before its parent, so no reference leads round in a circle.
    if (offset >= limit) return refuse(NodeFault::kNotBefore);
    // A node with many references to it is visited once, not once for each of them.
    if (!Claim(offset)) return refuse(NodeFault::kTwice);
    if (path_.size() > static_cast<std::size_t>(kMaxDepth)) return refuse(NodeFault::kTooDeep);
    Step step;
    step.offset = offset;
    if (Failed(ReadNode(cloud_, offset, &step.node, data_, &step.end)) || step.end > limit) {
        NodeFinding found = reference;
        found.place = offset;
        if (cloud_.input.Error() == 0) Tell(NodeFault::kUnreadable, found);
        return false;
    }
    path_.push_back(step);
    return true;
}

/// False: a node begins there, or so close that the two would overlap.
bool NodeWalk::Claim(std::int64_t offset) {
    const auto stretch = static_cast<std::size_t>((offset - begin_) / kMinNode);
    if (is_claimed_[stretch]) return false;
    is_claimed_[stretch] = true;
    return true;
}

/// References follow the child mask, one for each child that exists.
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
