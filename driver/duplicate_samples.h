// `DuplicateSamples`: recognises single samples that were delivered before.
//
// Errors     a sample is not remembered when memory runs out.
// Ownership  copies what it keeps of a sample.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/format/record_code.h"

/// Position and normal: the six axes by which a single sample is recognised.
using SampleAxes = std::array<float, 6>;

/// One node of a tree over remembered samples: the box around them, in all six axes.
struct SampleTreeNode {
    SampleAxes low;
    SampleAxes high;
    std::uint32_t first;  ///< index of its first sample; the others follow it
    std::uint32_t count;
    std::uint32_t upper;  ///< the second child; the first one follows its parent; 0: a leaf
};

/// A balanced tree over a fixed set of samples: each level halves the count.
class SingleSampleTree {
public:
    explicit SingleSampleTree(std::vector<SampleAxes> samples);

    /// Whether one of the samples is the same as `sample` within `reach`, a squared distance.
    bool Holds(const SampleAxes& sample, float reach) const;

    const std::vector<SampleAxes>& Samples() const { return samples_; }

private:
    void Build(std::uint32_t first, std::uint32_t count);

    std::vector<SampleAxes> samples_;
    std::vector<SampleTreeNode> nodes_;
};

/// Every single sample delivered so far.
///
/// A sample is a copy when an earlier one is closer than the square root of 0.001 times the new
/// one's radius, and every normal component agrees within 0.001. The answer does not depend on how
/// the samples are kept. They are kept in balanced trees, each either empty or twice as large as a
/// full tree of the place before, so that no order of arrival makes the search slow: a million
/// samples in a line, or all at one place, cost as much as scattered ones.
class DuplicateSamples {
public:
    /// Whether `sample` is a copy of an earlier one. If not, it is remembered.
    bool IsCopy(const PointHead& sample);

private:
    bool Find(const SampleAxes& sample, float reach) const;
    void Remember(const SampleAxes& sample);

    std::vector<SampleAxes> recent_;       ///< not in a tree yet
    std::vector<SingleSampleTree> trees_;  ///< tree i holds 0 or kRecent * 2^i samples
};
