// Tree copy: the nodes, and the bounds that belong to them.

#include "tools/ptc/convert/tree_copy.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <system_error>

#include "ptc/cloud/raw_points.h"
#include "tools/common/failure.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/read_error.h"

namespace convert {

namespace {

bool IsFinite(const CloudHeader& bounds) {
    const auto is_finite = [](float value) { return std::isfinite(value); };
    return std::all_of(bounds.box_min.begin(), bounds.box_min.end(), is_finite) &&
           std::all_of(bounds.box_max.begin(), bounds.box_max.end(), is_finite) &&
           is_finite(bounds.largest_radius);
}

/// Organising leaves out of the bounds what is not finite, and so does a copy with the octree.
void KeepBounds(const CloudReader& from, CloudWriter* to) {
    if (IsFinite(*to) || !IsFinite(from)) return;
    to->box_min = from.box_min;
    to->box_max = from.box_max;
    to->largest_radius = from.largest_radius;
}

}  // namespace

void CopyTree(const InputFile& in, PointSource& source, const OutputFile& out, PointSink& sink,
              bool may_stay) {
    CloudReader* const from = source.AsCloud();
    CloudWriter* const to = sink.AsCloud();
    if (!from || from->stored_node_count == 0) return;
    if (may_stay && to && NodesFit(*from, *to)) {
        KeepBounds(*from, to);
        if (!Failed(CopyNodes(*from, *to))) return;
        FailIfUnread(*from, in.Name());
        throw Failure(out.Name() + ": " + std::generic_category().message(to->file.Error()));
    }
    Tell("ptc", fmt::format("{}: its {} octree nodes are left out, {} is unorganised", in.Name(),
                            from->stored_node_count, out.Name()));
}

}  // namespace convert
