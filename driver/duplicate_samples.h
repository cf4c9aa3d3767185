// Single samples that were delivered before.
//
// Errors     a sample whose memory cannot be had is not remembered.
// Ownership  copies what it keeps of a sample.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/format/record_code.h"

/// Position and normal, the six axes by which a single sample is known again.
using SampleAxes = std::array<float, 6>;

/// One node of a tree over remembered samples: the box around them, in all six axes.
struct SampleTreeNode {
    SampleAxes low;
    SampleAxes high;
    std::uint32_t first;  ///< its samples are consecutive
    std::uint32_t count;
    std::uint32_t upper;  ///< the second child; the first one follows its parent; 0: a leaf
};

/// A balanced tree over a fixed set of samples; its depth is that of a halving.
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
/// A sample is a copy when an earlier one lies closer than the square root of 0.001 times the new
/// one's radius and every normal component agrees within 0.001. Whether there is such a one does
/// not depend on how the samples are kept. They are kept in balanced trees, each twice as large as
/// the one before or empty, so that no order of arrival makes the search slow: a million samples
/// in line, or all at one place, cost what scattered ones cost.
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
