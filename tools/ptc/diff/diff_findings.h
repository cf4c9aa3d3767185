// DiffFindings: all that is known of the difference of two clouds, and the verdict.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/ptc/diff/header_differences.h"
#include "tools/ptc/diff/point_differences.h"
#include "tools/ptc/diff/unordered_diff.h"
#include "tools/ptc/diff/variable_pairs.h"

struct DiffFindings {
    std::array<std::string, 2> names;
    std::array<std::int64_t, 2> points{};
    std::array<bool, 2> has_octree{};  ///< false where a version holds none
    DiffLimits limits;
    std::vector<HeaderDifference> header;
    VariablePairs variables;
    VariablePairs node_variables;
    std::optional<UnorderedCounts> unordered;  ///< nothing: the points are compared in their order

    /// Whether anything but the points' values counts as different. Without an order, neither do
    /// the order of the variables nor the octree, which is an order of the points.
    bool HeadersAreAlike() const;
    bool AreAlike(const PointDifferences& values) const;
};

/// The findings for people, and as one JSON object.
std::string DiffText(const DiffFindings& findings, const PointDifferences& values);
std::string DiffJson(const DiffFindings& findings, const PointDifferences& values);
