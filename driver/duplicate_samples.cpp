// Recognises single samples that were delivered before: the test, and the trees of samples.

#include "driver/duplicate_samples.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kRecent = 32;
constexpr std::uint32_t kLeaf = 8;
constexpr float kReachOfRadius = 0.001f;
constexpr float kSampleNormalTolerance = 0.001f;

bool IsSameSample(const SampleAxes& sample, const SampleAxes& stored, float reach) {
    const float x = sample[0] - stored[0];
    const float y = sample[1] - stored[1];
    const float z = sample[2] - stored[2];
    return x * x + y * y + z * z < reach &&
           std::fabs(sample[3] - stored[3]) < kSampleNormalTolerance &&
           std::fabs(sample[4] - stored[4]) < kSampleNormalTolerance &&
           std::fabs(sample[5] - stored[5]) < kSampleNormalTolerance;
}

/// The point of a node's box that is nearest to `sample`. Rounded subtraction, square and sum
/// never reverse the order of two values. So if the nearest point is not the same as the sample, no
/// sample in the node is.
SampleAxes NearestOf(const SampleTreeNode& node, const SampleAxes& sample) {
    SampleAxes nearest;
    for (std::size_t axis = 0; axis < nearest.size(); ++axis)
        nearest[axis] = std::clamp(sample[axis], node.low[axis], node.high[axis]);
    return nearest;
}

}  // namespace

SingleSampleTree::SingleSampleTree(std::vector<SampleAxes> samples) : samples_(std::move(samples)) {
    if (samples_.empty()) return;
    nodes_.reserve(2 * samples_.size() / (kLeaf / 2));
    Build(0, static_cast<std::uint32_t>(samples_.size()));
}

/// Recurses once for each halving of the count, so at most 32 levels deep.
void SingleSampleTree::Build(std::uint32_t first, std::uint32_t count) {
    const std::size_t self = nodes_.size();
    SampleTreeNode node{samples_[first], samples_[first], first, count, 0};
    for (std::uint32_t i = first; i < first + count; ++i) {
        for (std::size_t axis = 0; axis < node.low.size(); ++axis) {
            node.low[axis] = std::min(node.low[axis], samples_[i][axis]);
            node.high[axis] = std::max(node.high[axis], samples_[i][axis]);
        }
    }
    nodes_.push_back(node);
    if (count <= kLeaf) return;

    std::size_t widest = 0;
    for (std::size_t axis = 1; axis < node.low.size(); ++axis)
        if (node.high[axis] - node.low[axis] > node.high[widest] - node.low[widest]) widest = axis;
    const auto begin = samples_.begin() + first;
    std::nth_element(
        begin, begin + count / 2, begin + count,
        [widest](const SampleAxes& a, const SampleAxes& b) { return a[widest] < b[widest]; });
    Build(first, count / 2);
    nodes_[self].upper = static_cast<std::uint32_t>(nodes_.size());
    Build(first + count / 2, count - count / 2);
}

bool SingleSampleTree::Holds(const SampleAxes& sample, float reach) const {
    if (nodes_.empty()) return false;
    // One node waits for each level, and a count of 32 bits is halved at most 32 times.
    std::array<std::uint32_t, 64> waiting;
    std::size_t waiting_count = 0;
    waiting[waiting_count++] = 0;
    while (waiting_count > 0) {
        const std::uint32_t index = waiting[--waiting_count];
        const SampleTreeNode& node = nodes_[index];
        if (!IsSameSample(sample, NearestOf(node, sample), reach)) continue;
        if (node.upper) {
            waiting[waiting_count++] = node.upper;
            waiting[waiting_count++] = index + 1;
            continue;
        }
        for (std::uint32_t i = node.first; i < node.first + node.count; ++i)
            if (IsSameSample(sample, samples_[i], reach)) return true;
    }
    return false;
}

bool DuplicateSamples::IsCopy(const PointHead& sample) {
    const SampleAxes axes = {sample.position[0], sample.position[1], sample.position[2],
                             sample.normal[0],   sample.normal[1],   sample.normal[2]};
    // The distance to a value that is not finite is never within reach: such a sample equals no
    // other.
    for (const float axis : axes)
        if (!std::isfinite(axis)) return false;

    if (Find(axes, kReachOfRadius * (sample.radius * sample.radius))) return true;
    try {
        Remember(axes);
    } catch (const std::bad_alloc&) {
        // The sample itself is not lost; only a copy of it will not be recognised.
    }
    return false;
}

bool DuplicateSamples::Find(const SampleAxes& sample, float reach) const {
    const auto is_same = [&](const SampleAxes& stored) {
        return IsSameSample(sample, stored, reach);
    };
    if (!(reach > 0)) return false;
    if (std::any_of(recent_.begin(), recent_.end(), is_same)) return true;
    return std::any_of(trees_.begin(), trees_.end(),
                       [&](const SingleSampleTree& tree) { return tree.Holds(sample, reach); });
}

void DuplicateSamples::Remember(const SampleAxes& sample) {
    recent_.push_back(sample);
    if (recent_.size() < kRecent) return;

    // Like counting in binary: the trees before the first empty place, together with the recent
    // samples, have exactly the size of that place's tree. So a sample moves once for each place,
    // and there are only as many trees as the count of samples has bits.
    std::size_t place = 0;
    while (place < trees_.size() && !trees_[place].Samples().empty()) ++place;
    std::vector<SampleAxes> merged = recent_;
    for (std::size_t i = 0; i < place; ++i)
        merged.insert(merged.end(), trees_[i].Samples().begin(), trees_[i].Samples().end());
    SingleSampleTree tree(std::move(merged));

    if (place == trees_.size()) trees_.emplace_back(std::vector<SampleAxes>());
    trees_[place] = std::move(tree);
    for (std::size_t i = 0; i < place; ++i) trees_[i] = SingleSampleTree({});
    recent_.clear();
}
