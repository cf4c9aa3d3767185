// Encoding nodes in groups of siblings.

#include "ptc/organise/node_writer.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kCollected = std::size_t{1} << 18;  // bytes that are written at once

template <class T>
std::byte* Put(std::byte* out, const T& value) {
    std::memcpy(out, &value, sizeof value);
    return out + sizeof value;
}

}  // namespace

double* NodeWriter::TakeSums() {
    if (free_.empty()) {
        owned_.push_back(std::make_unique<double[]>(sums_.Size()));
        free_.push_back(owned_.back().get());
    }
    double* const taken = free_.back();
    free_.pop_back();
    return taken;
}

NodeWriter::Node NodeWriter::Leaf(std::int64_t first, std::int64_t count, const PositionBox& box,
                                  const double* sums) {
    Node leaf;
    leaf.first = static_cast<std::uint32_t>(first);
    leaf.count = static_cast<std::uint32_t>(count);
    leaf.data.box = box;
    leaf.data.sums = TakeSums();
    std::copy_n(sums, sums_.Size(), leaf.data.sums);
    ++leaves_;
    return leaf;
}

void NodeWriter::Group(std::span<Node> children, Node& parent) {
    parent.data.sums = TakeSums();
    sums_.Begin(parent.data.sums);
    for (Node& child : children) {
        parent.data.box.Include(child.data.box);
        sums_.AddNode(child.data.sums, parent.data.sums);
        parent.data.children[child.octant] = file_.NodeStart() + Encode(child);
    }
}

void NodeWriter::Root(Node& root) {
    depth_ = root.height;
    box_ = root.data.box;
    root_ = Encode(root);
}

/// Returns where the record is, behind the first node's start. The node's sums are free then.
std::int64_t NodeWriter::Encode(Node& node) {
    const std::size_t most = ptc_layout::MaxNodeBytes(sums_.Floats());
    if (buffer_.size() - fill_ < most) {
        Flush();
        buffer_.resize(std::max(kCollected, most));
    }
    const std::int64_t at = Bytes();
    std::byte* out = buffer_.data() + fill_;
    out = Put(out, node.first);
    out = Put(out, node.count);
    for (const float value : node.data.box.min) out = Put(out, ClampToFinite(value));
    for (const float value : node.data.box.max) out = Put(out, ClampToFinite(value));
    sums_.Store(node.data.sums, data_.data());
    const std::size_t data_bytes = sizeof(float) * data_.size();
    if (data_bytes > 0) std::memcpy(out, data_.data(), data_bytes);
    out += data_bytes;
    std::byte* const mask_at = out++;
    unsigned mask = 0;
    for (unsigned i = 0; i < 8; ++i) {
        if (node.data.children[i] == 0) continue;
        mask |= 1U << i;
        out = Put(out, node.data.children[i]);
    }
    *mask_at = static_cast<std::byte>(mask);
    fill_ = static_cast<std::size_t>(out - buffer_.data());
    free_.push_back(node.data.sums);
    ++nodes_;
    return at;
}

void NodeWriter::Flush() {
    file_.WriteNodes(written_, {buffer_.data(), fill_});
    written_ += static_cast<std::int64_t>(fill_);
    fill_ = 0;
}
