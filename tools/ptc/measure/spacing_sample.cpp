// SpacingSample: taking the sample, and its nearest.

#include "tools/ptc/measure/spacing_sample.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace measure {

namespace {

constexpr std::uint64_t kMostKept = 1 << 12;
constexpr std::uint64_t kFirstGrid = 1 << 13;
/// Points of the file before and behind one of the sample: mostly they lie next to it.
constexpr std::size_t kFileNeighbours = 64;
/// Balls are so much larger that rounding takes no point out of them.
constexpr double kSlack = 1 + 1e-6;

std::uint64_t StepFor(std::uint64_t points, std::uint64_t most) {
    return std::max<std::uint64_t>(1, points / most + (points % most != 0 ? 1 : 0));
}

/// How far behind index `begin` the first multiple of `step` is.
std::uint64_t FirstMultiple(std::uint64_t begin, std::uint64_t step) {
    return (step - begin % step) % step;
}

bool IsFinite(const float* position) {
    return std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
}

double SquaredDistance(const float* a, const float* b) {
    const double x = double{a[0]} - b[0], y = double{a[1]} - b[1], z = double{a[2]} - b[2];
    return x * x + y * y + z * z;
}

std::optional<double> Median(std::vector<double> values) {
    if (values.empty()) return std::nullopt;
    std::sort(values.begin(), values.end());
    return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

}  // namespace

SpacingSample::SpacingSample(std::uint64_t points)
    : sample_step_(StepFor(points, kMostSampled)), kept_step_(StepFor(points, kMostKept)) {}

void SpacingSample::Take(const PointPiece& piece) {
    const std::size_t count = piece.Count();
    // The first point of the piece whose index is a multiple of the step, and the next ones.
    for (std::size_t i = FirstMultiple(taken_, kept_step_); i < count; i += kept_step_) {
        const float* const at = piece.Position(i);
        if (IsFinite(at)) kept_.push_back({at[0], at[1], at[2]});
    }
    for (std::size_t i = FirstMultiple(taken_, sample_step_); i < count; i += sample_step_)
        TakePoint(piece, i);
    taken_ += count;
}

void SpacingSample::TakePoint(const PointPiece& piece, std::size_t i) {
    const float* const at = piece.Position(i);
    if (!IsFinite(at)) return;
    Place& place = places_.emplace_back();
    place.position = {at[0], at[1], at[2]};
    place.squared = std::numeric_limits<double>::infinity();
    if (std::isfinite(piece.Radius(i))) radii_.push_back(piece.Radius(i));
    const std::size_t end = std::min(piece.Count(), i + kFileNeighbours + 1);
    for (std::size_t j = i - std::min(i, kFileNeighbours); j < end; ++j)
        TryPoint(place, piece.Position(j));
}

/// A point in the same place is none of the nearest, and NaN is not near.
void SpacingSample::TryPoint(Place& place, const float* position) {
    const double squared = SquaredDistance(place.position.data(), position);
    if (squared > 0 && squared < place.squared) place.squared = squared;
}

/// Otherwise a place that most points share would be searched as many times.
void SpacingSample::JoinEqualPlaces() {
    std::sort(places_.begin(), places_.end(),
              [](const Place& a, const Place& b) { return a.position < b.position; });
    std::vector<Place> joined;
    for (const Place& place : places_) {
        if (joined.empty() || joined.back().position != place.position) {
            joined.push_back(place);
            continue;
        }
        joined.back().squared = std::min(joined.back().squared, place.squared);
        ++joined.back().weight;
    }
    places_ = std::move(joined);
}

bool SpacingSample::Settle() {
    JoinEqualPlaces();
    for (Place& place : places_) {
        for (const auto& position : kept_) TryPoint(place, position.data());
        for (const Place& other : places_) TryPoint(place, other.position.data());
    }
    next_grid_ = kFirstGrid;
    MakeGrid();
    return kept_step_ == 1;
}

void SpacingSample::MakeGrid() {
    std::vector<Ball> balls;
    for (const Place& place : places_)
        balls.push_back({place.position, std::sqrt(place.squared) * kSlack});
    grid_.emplace(balls);
}

void SpacingSample::Try(const PointPiece& piece) {
    // The more points have been tried, the nearer the next ones must be to matter.
    if (tried_ >= next_grid_) {
        MakeGrid();
        next_grid_ *= 4;
    }
    for (std::size_t i = 0; i < piece.Count(); ++i) {
        const float* const position = piece.Position(i);
        if (!IsFinite(position)) continue;
        grid_->VisitBalls(position, [&](std::size_t ball) { TryPoint(places_[ball], position); });
    }
    tried_ += piece.Count();
}

Spacing SpacingSample::Find() const {
    Spacing spacing;
    std::vector<double> distances;
    for (const Place& place : places_) {
        spacing.sampled += place.weight;
        if (std::isfinite(place.squared))
            distances.insert(distances.end(), place.weight, std::sqrt(place.squared));
    }
    spacing.median = Median(std::move(distances));
    spacing.median_radius = Median(radii_);
    return spacing;
}

}  // namespace measure
