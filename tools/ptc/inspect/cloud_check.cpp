// The check of a whole file.

#include "tools/ptc/inspect/cloud_check.h"

#include <cmath>
#include <string>

#include "tools/common/progress.h"
#include "tools/ptc/header_check.h"
#include "tools/ptc/inspect/node_check.h"
#include "tools/ptc/inspect/octree_cover.h"
#include "tools/ptc/point_scan.h"
#include "tools/ptc/read_error.h"

namespace {

constexpr const char* kAxes[] = {"x", "y", "z"};

/// Text has seven digits: what a sum of numbers loses by that, as a share of the numbers.
constexpr float kTextSlack = 1e-6f;

/// Checks each point against the header.
///
/// One point may have several faults; each is reported at its float, so that a hex editor opened at
/// the place shows it.
class PointCheck {
public:
    PointCheck(const CloudReader& cloud, const OctreeCover& cover, FaultList& faults)
        : cloud_(cloud),
          cover_(cover),
          faults_(faults),
          slack_(cloud.input.IsText() ? kTextSlack : 0.0f) {}

    /// The point that `scan` has read.
    void Check(const PointScan& scan) {
        const std::span<const float> values = scan.Values();
        const std::int64_t index = scan.Count() - 1;
        const float radius = values[PointScan::kRadius];
        // Written so that NaN is not a radius.
        const bool is_radius = radius >= 0 && std::isfinite(radius);
        const bool is_apart = cover_.IsApart(index, &values[PointScan::kPosition]);
        if (is_apart) ++apart_;
        if (cover_.CountsAsZero(radius))
            ++zero_radii_;
        else if (!is_radius)
            faults_.Add(scan.Place(PointScan::kRadius), "point {}: radius {} is no radius", index,
                        radius);
        // A wrong radius is reported once; it must not also put every axis outside the box.
        for (std::size_t axis = 0; axis < 3 && !is_apart; ++axis)
            CheckAxis(scan, axis, index, is_radius ? radius : 0.0f);
        // Before version 2 the header has none. A largest radius above all radii is a bound, and
        // bounds may be loose.
        const float largest = cloud_.largest_radius;
        if (cloud_.version >= 2 && is_radius && radius > largest + slack_ * largest)
            faults_.Add(scan.Place(PointScan::kRadius),
                        "point {}: radius {} is above the header's largest radius", index, radius);
        for (std::size_t i = PointScan::kData; i < values.size(); ++i)
            if (!std::isfinite(values[i]))
                faults_.Add(scan.Place(i), "point {}: data value {} is {}", index,
                            i - PointScan::kData, values[i]);
    }

    std::int64_t Apart() const { return apart_; }
    std::int64_t ZeroRadii() const { return zero_radii_; }

private:
    /// The box goes around the spheres, in the arithmetic of the writer.
    void CheckAxis(const PointScan& scan, std::size_t axis, std::int64_t index, float radius) {
        const float value = scan.Values()[axis];
        if (!std::isfinite(value)) {
            faults_.Add(scan.Place(axis), "point {}: {} {} is not finite", index, kAxes[axis],
                        value);
            return;
        }
        const float slack = slack_ * (std::fabs(value) + radius);
        if (cover_.InBox(value - radius) < cloud_.box_min[axis] - slack ||
            cover_.InBox(value + radius) > cloud_.box_max[axis] + slack)
            faults_.Add(scan.Place(axis), "point {}: {} {} lies outside the box, radius included",
                        index, kAxes[axis], value);
    }

    const CloudReader& cloud_;
    const OctreeCover& cover_;
    FaultList& faults_;
    const float slack_;
    std::int64_t apart_ = 0;
    std::int64_t zero_radii_ = 0;
};

/// Whether not all could be read up to where the scan ended. In a compressed file that is a fault
/// like any other, because its stream may be broken; of another file nothing is known then, which
/// fails the check.
bool TellReadError(const InputFile& file, const CloudReader& cloud, const PointScan& scan,
                   FaultList& faults) {
    if (cloud.input.Error() == 0) return false;
    if (!cloud.input.IsCompressed()) FailIfUnread(cloud, file.Name());
    faults.Add(scan.End(), "{} of {} points are there: {}", scan.Count(), cloud.point_count,
               ReadErrorText(cloud.input));
    return true;
}

/// The scan came to an end before the header's count. Told at the first byte that belongs to no
/// whole record, with what is known of the cause: the file's end, or a text line.
void TellMissingPoints(const CloudReader& cloud, const PointScan& scan, std::int64_t behind,
                       FaultList& faults) {
    if (behind == 0)
        faults.Add(scan.End(), "the file ends, {} of {} points are there", scan.Count(),
                   cloud.point_count);
    else if (cloud.input.IsText())
        faults.Add(scan.End(), "point {} of {} is malformed or cut off", scan.Count(),
                   cloud.point_count);
    else
        faults.Add(scan.End(), "the file ends within point {} of {}", scan.Count(),
                   cloud.point_count);
}

/// All points are there, and nothing should follow. Room for whole records is the sign of a header
/// that lags, which a repair brings up to date; less is a tail that was cut or appended.
void TellBytesBehind(const CloudReader& cloud, const PointScan& scan, std::int64_t behind,
                     FaultList& faults) {
    const auto record = static_cast<std::int64_t>(4 * scan.Values().size());
    if (behind == 0) return;
    if (cloud.input.IsText() || behind < record)
        faults.Add(scan.End(), "{} bytes behind the last point", behind);
    else
        faults.Add(scan.End(), "{} bytes behind the last point, room for {} more than npoints",
                   behind, behind / record);
}

}  // namespace

CheckedCounts CheckCloud(const InputFile& file, FaultList& faults, bool shows_progress) {
    std::string why;
    const auto [cloud, places] = CheckHeader(file, faults, &why);
    if (!cloud) {
        // The header's check has the reader's rules and more. Should the reader know one that is
        // not among them, a file that nobody can open must still not pass for sound.
        if (faults.Total() == 0) faults.Add(0, "{}", why);
        return {};
    }
    // Points and nodes are the steps: bytes are not known in a compressed file.
    Progress progress(static_cast<std::uint64_t>(cloud->point_count + cloud->node_count),
                      shows_progress);
    const OctreeCover cover(*cloud);
    PointScan scan(*cloud, 0, cloud->point_count);
    PointCheck check(*cloud, cover, faults);
    while (scan.Next()) {
        check.Check(scan);
        if (scan.Count() % 4096 == 0) progress.Show(static_cast<std::uint64_t>(scan.Count()));
    }
    const CheckedCounts counts = {scan.Count(), cloud->node_count, check.Apart(),
                                  check.ZeroRadii()};
    const bool is_whole = scan.Count() == cloud->point_count;
    const bool has_nodes = is_whole && cover.IsOrganised();
    const std::int64_t behind = has_nodes ? 0 : scan.BytesBehind();
    if (TellReadError(file, *cloud, scan, faults)) return counts;
    // Unless all points are there, it is not known what should follow them.
    if (!is_whole) {
        TellMissingPoints(*cloud, scan, behind, faults);
    } else if (!has_nodes) {
        TellBytesBehind(*cloud, scan, behind, faults);
    } else if (!cloud->input.IsCompressed()) {
        CheckNodes(*cloud, places, scan.End(), faults, &progress);
        FailIfUnread(*cloud, file.Name());
    }
    return counts;
}
