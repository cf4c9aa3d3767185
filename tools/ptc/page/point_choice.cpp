// PointChoice: merging candidates while points come, and reducing them to what is wanted.

#include "tools/ptc/page/point_choice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "tools/ptc/page/coarse_first.h"

namespace page {

namespace {

/// How much more area a disc gets than those that it represents had: they overlapped in other
/// places than it and its neighbours do. Larger makes edges blunt, smaller leaves gaps.
constexpr float kSpread = 2.4f;

/// Room for new candidates before they are merged, as a part of those that are kept.
constexpr std::size_t kRoomPart = 8;
constexpr std::size_t kLeastRoom = 4096;

double SideOf(const FiniteBox& box) {
    double side = 0;
    for (int axis = 0; axis < 3; ++axis)
        side = std::max(side, static_cast<double>(box.max[axis]) - box.min[axis]);
    return side;
}

void Merge(Candidate* into, const Candidate& other, int bits) {
    const float area = into->area + other.area;
    if (IsBetter(other, *into, bits)) *into = other;
    into->area = area;
}

}  // namespace

float ChosenPoint::GrownRadius(float own) const {
    const float others = area - own * own;
    if (!(others > 0)) return own;
    return std::max(own, std::min(std::sqrt(kSpread * area), own + reach));
}

PointChoice::PointChoice(const Bounds& bounds)
    : cube_(bounds.box),
      unit_(bounds.largest_radius > 0
                ? SideOf(bounds.box) / (1 << kOctreeLevels) / bounds.largest_radius
                : 0),
      largest_radius_(bounds.largest_radius),
      most_(bounds.most),
      room_(2 * most_ + std::max(2 * most_ / kRoomPart, kLeastRoom)) {
    candidates_.reserve(std::min<std::size_t>(room_, bounds.count));
}

void PointChoice::Add(std::uint32_t number, const float* position, float radius) {
    const float share = largest_radius_ > 0 ? radius / largest_radius_ : 0;
    const Candidate point{cube_.CodeOf(position), number, share * share};
    if (bits_ < kPathBits && !candidates_.empty() &&
        SharedBits(candidates_.back(), point) >= bits_) {
        Merge(&candidates_.back(), point, bits_);
        return;
    }
    if (candidates_.size() == room_) {
        Sort();
        // Halving doubles the cells at most. So the level below the one that is chosen in the end
        // has at most twice the points that are wanted, and is never passed here.
        bits_ = FinestBits(2 * most_);
        MergeCells(bits_);
    }
    candidates_.push_back(point);
}

void PointChoice::Sort() {
    const auto middle = candidates_.begin() + static_cast<std::ptrdiff_t>(sorted_);
    std::sort(middle, candidates_.end(), IsBefore);
    std::inplace_merge(candidates_.begin(), middle, candidates_.end(), IsBefore);
    sorted_ = candidates_.size();
}

/// The finest level, at most bits_, with no more than `most_cells`. Caller: Sort() was called.
int PointChoice::FinestBits(std::size_t most_cells) const {
    // Two neighbours are in two cells on all levels below the bits that they share.
    std::array<std::size_t, kPathBits + 1> parted_at{};
    for (std::size_t i = 1; i < candidates_.size(); ++i)
        ++parted_at[static_cast<std::size_t>(SharedBits(candidates_[i - 1], candidates_[i]))];
    std::size_t cells = 1;
    int bits = 0;
    while (bits < bits_) {
        cells += parted_at[static_cast<std::size_t>(bits)];
        if (cells > most_cells) break;
        ++bits;
    }
    return bits;
}

/// Leaves one candidate in each cell. Caller: Sort() was called.
void PointChoice::MergeCells(int bits) {
    std::size_t kept = 0;
    for (std::size_t i = 1; i < candidates_.size(); ++i) {
        if (SharedBits(candidates_[kept], candidates_[i]) >= bits)
            Merge(&candidates_[kept], candidates_[i], bits);
        else
            candidates_[++kept] = candidates_[i];
    }
    if (!candidates_.empty()) candidates_.resize(kept + 1);
    sorted_ = candidates_.size();
}

/// Leaves as many candidates as are wanted: one for each cell of bits_ or, where the answer says
/// so, of one bit fewer.
std::vector<bool> PointChoice::ReduceToMost() {
    const int bits = FinestBits(most_);
    if (bits == bits_) return std::vector<bool>(candidates_.size(), false);
    bits_ = bits + 1;
    MergeCells(bits_);
    // A cell that is halved has two candidates, one behind the other.
    const auto is_first_half = [&](std::size_t i) {
        return i + 1 < candidates_.size() && SharedBits(candidates_[i], candidates_[i + 1]) == bits;
    };
    std::size_t pairs = 0;
    for (std::size_t i = 0; i < candidates_.size(); ++i) pairs += is_first_half(i);
    std::size_t left = most_ - (candidates_.size() - pairs);
    std::vector<bool> stays_halved(pairs, false);
    VisitSpread(pairs, [&](std::size_t pair) {
        if (left == 0) return;
        stays_halved[pair] = true;
        --left;
    });

    std::vector<bool> is_whole;
    is_whole.reserve(most_);
    std::size_t kept = 0;
    for (std::size_t i = 0, pair = 0; i < candidates_.size(); ++i, ++kept) {
        Candidate point = candidates_[i];
        const bool merges = is_first_half(i) && !stays_halved[pair++];
        if (merges) Merge(&point, candidates_[++i], bits);
        is_whole.push_back(merges);
        candidates_[kept] = point;
    }
    candidates_.resize(kept);
    return is_whole;
}

/// How far anything in the cell is from the point, as a share of the largest radius.
float PointChoice::ReachOf(const Candidate& candidate, int bits) const {
    const double reach = std::sqrt(PlaceInCell(candidate, bits).ToFarthestCorner()) * unit_;
    return static_cast<float>(std::min<double>(reach, std::numeric_limits<float>::max()));
}

std::vector<ChosenPoint> PointChoice::Take() {
    Sort();
    if (bits_ < kPathBits) MergeCells(bits_);
    const std::vector<bool> is_whole = ReduceToMost();
    const std::vector<std::uint32_t> places = CoarseFirst(candidates_);
    std::vector<ChosenPoint> chosen;
    chosen.reserve(candidates_.size());
    for (std::size_t i = 0; i < candidates_.size(); ++i) {
        const Candidate& candidate = candidates_[i];
        chosen.push_back({candidate.number, places[i], candidate.area,
                          ReachOf(candidate, bits_ - (is_whole[i] ? 1 : 0))});
    }
    std::vector<Candidate>().swap(candidates_);
    std::sort(chosen.begin(), chosen.end(),
              [](const ChosenPoint& a, const ChosenPoint& b) { return a.number < b.number; });
    return chosen;
}

}  // namespace page
