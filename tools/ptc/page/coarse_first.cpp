// Coarse first: the level at which each point is the first to represent its cell.

#include "tools/ptc/page/coarse_first.h"

#include <array>
#include <utility>

namespace page {

namespace {

/// From the root, which has level 0, to whole paths.
constexpr std::size_t kLevels = kPathBits + 1;

/// Finds the levels from the points in order, without building the tree: open cells wait on a
/// stack.
class LevelFinder {
public:
    explicit LevelFinder(std::span<const Candidate> points)
        : points_(points), levels_(points.size()) {}

    std::vector<std::uint8_t> Run() {
        for (std::size_t i = 0; i < points_.size(); ++i) {
            if (i > 0) {
                const int shared = SharedBits(points_[i - 1], points_[i]);
                while (!shared_.empty() && shared_.back() > shared) Close();
                shared_.push_back(shared);
            }
            open_.push_back(i);
        }
        while (!shared_.empty()) Close();
        return std::move(levels_);
    }

private:
    /// The last two halves become one cell, which the better of the two points represents. The
    /// other one appears where this cell is halved.
    void Close() {
        const int bits = shared_.back();
        std::size_t winner = open_[open_.size() - 2], loser = open_.back();
        if (IsBetter(points_[loser], points_[winner], bits)) std::swap(winner, loser);
        levels_[loser] = static_cast<std::uint8_t>(bits + 1);
        shared_.pop_back();
        open_.pop_back();
        open_.back() = winner;
    }

    std::span<const Candidate> points_;
    std::vector<std::uint8_t> levels_;
    std::vector<std::size_t> open_;  ///< which point represents each half that waits
    std::vector<int> shared_;        ///< bits shared by it and the next: one less than halves
};

}  // namespace

std::vector<std::uint32_t> CoarseFirst(std::span<const Candidate> points) {
    const std::vector<std::uint8_t> levels = LevelFinder(points).Run();
    std::array<std::size_t, kLevels + 1> begins{};  // of each level in the list below
    for (const std::uint8_t level : levels) ++begins[level + std::size_t{1}];
    for (std::size_t level = 0; level < kLevels; ++level) begins[level + 1] += begins[level];

    std::vector<std::uint32_t> by_level(points.size());
    std::array<std::size_t, kLevels + 1> next = begins;
    for (std::size_t i = 0; i < points.size(); ++i)
        by_level[next[levels[i]]++] = static_cast<std::uint32_t>(i);

    std::vector<std::uint32_t> places(points.size());
    std::uint32_t place = 0;
    for (std::size_t level = 0; level < kLevels; ++level)
        VisitSpread(begins[level + 1] - begins[level], [&](std::size_t number) {
            places[by_level[begins[level] + number]] = place++;
        });
    return places;
}

}  // namespace page
