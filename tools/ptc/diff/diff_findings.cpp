// DiffFindings: the verdict.

#include "tools/ptc/diff/diff_findings.h"

#include <algorithm>

bool DiffFindings::HeadersAreAlike() const {
    if (points[0] != points[1] || !variables.AreSame()) return false;
    if (!std::all_of(header.begin(), header.end(),
                     [](const HeaderDifference& difference) { return difference.is_within; }))
        return false;
    return unordered || (has_octree[0] == has_octree[1] && variables.has_same_order &&
                         node_variables.AreSame() && node_variables.has_same_order);
}

bool DiffFindings::AreAlike(const PointDifferences& values) const {
    if (unordered && (unordered->unpaired_a > 0 || unordered->unpaired_b > 0)) return false;
    return HeadersAreAlike() && values.DifferentPairs() == 0;
}
