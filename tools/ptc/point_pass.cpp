// PointPass: reading in pieces.

#include "tools/ptc/point_pass.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/common/failure.h"

namespace view {

namespace {

/// About how many floats of data are in memory at a time; one point may have more.
constexpr std::size_t kPieceFloats = std::size_t{1} << 16;
constexpr std::size_t kMostPoints = 4096;

}  // namespace

bool IsDrawable(const PointHead& point) {
    const auto is_finite = [](float value) { return std::isfinite(value); };
    return std::all_of(point.position, point.position + 3, is_finite) &&
           std::all_of(point.normal, point.normal + 3, is_finite) && is_finite(point.radius) &&
           point.radius >= 0;
}

PointPass::PointPass(Cloud& cloud, std::string name, bool wants_data)
    : cloud_(cloud),
      name_(std::move(name)),
      floats_(wants_data ? static_cast<std::size_t>(cloud.point_variables.data_size) : 0) {
    heads_.resize(
        std::clamp<std::size_t>(kPieceFloats / std::max<std::size_t>(floats_, 1), 1, kMostPoints));
    data_.resize(heads_.size() * floats_);
}

/// A point that cannot be drawn counts for the bar and for messages, which number a file's points.
void PointPass::Run(Progress& progress, std::uint64_t done, const Visit& visit) {
    if (Failed(SeekPoint(cloud_, 0))) throw Failure(fmt::format("{}: cannot be read", name_));
    for (std::int64_t first = 0; first < cloud_.point_count;) {
        const auto left = static_cast<std::uint64_t>(cloud_.point_count - first);
        const std::size_t wanted = std::min<std::uint64_t>(heads_.size(), left);
        std::size_t count = 0;
        const CloudStatus status = ReadPoints(cloud_, std::span(heads_).first(wanted),
                                              std::span(data_).first(wanted * floats_), &count);
        for (std::size_t i = 0; i < count; ++i)
            if (IsDrawable(heads_[i]))
                visit(heads_[i], std::span<const float>(data_).subspan(i * floats_, floats_));
        first += static_cast<std::int64_t>(count);
        if (Failed(status)) throw Failure(fmt::format("{}: point {} cannot be read", name_, first));
        progress.Show(done + static_cast<std::uint64_t>(first));
    }
}

}  // namespace view
