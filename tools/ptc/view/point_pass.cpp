// PointPass: a scan whose points can be drawn.

#include "tools/ptc/view/point_pass.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/ptc/point_scan.h"
#include "tools/ptc/read_error.h"

namespace view {

namespace {

constexpr std::int64_t kShownPoints = 4096;  // from one look at the progress bar to the next

}  // namespace

bool IsDrawable(const PointHead& point) {
    const auto is_finite = [](float value) { return std::isfinite(value); };
    return std::all_of(point.position, point.position + 3, is_finite) &&
           std::all_of(point.normal, point.normal + 3, is_finite) && is_finite(point.radius) &&
           point.radius >= 0;
}

/// A point that cannot be drawn counts for the bar and for messages, which number a file's points.
void PointPass::Run(Progress& progress, std::uint64_t done, const Visit& visit) {
    PointScan scan(cloud_, 0, cloud_.point_count);
    PointHead head{};
    while (scan.Next()) {
        const std::span<const float> values = scan.Values();
        std::copy_n(values.begin() + PointScan::kPosition, 3, head.position);
        scan.DecodeNormal(head.normal);
        head.radius = values[PointScan::kRadius];
        if (IsDrawable(head)) visit(head, values.subspan(PointScan::kData));
        if (scan.Count() % kShownPoints == 0)
            progress.Show(done + static_cast<std::uint64_t>(scan.Count()));
    }
    FailIfUnread(cloud_, name_);
    if (scan.Count() < cloud_.point_count)
        throw Failure(fmt::format("{}: point {} of {} is cut off or damaged", name_, scan.Count(),
                                  cloud_.point_count));
}

}  // namespace view
