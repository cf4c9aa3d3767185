// Part: finds the slices by their costs, and makes a slice a plan of its own.

#include "tools/bake/part.h"

#include <algorithm>
#include <utility>

namespace bake {

namespace {

/// The costs of a sample. One that is only delivered costs little beside one that is shaded; how
/// little depends on the number of rays.
constexpr std::uint64_t kShaded = 16;
constexpr std::uint64_t kDelivered = 1;

class PlanCutter {
public:
    PlanCutter(const std::vector<Delivery>& plan, bool drops_repeats)
        : plan_(plan), drops_repeats_(drops_repeats), first_(plan.size()) {
        std::uint32_t grids = 0;
        for (const Delivery& delivery : plan) grids = std::max(grids, delivery.grid + 1);
        std::vector<std::size_t> first_of_grid(grids);
        for (std::size_t i = 0; i < plan.size(); ++i) {
            std::size_t& first = first_of_grid[plan[i].grid];
            if (plan[i].kind != Delivery::Kind::kRepeat) first = i;
            first_[i] = first;
        }
    }

    /// The slice of `part` as two indexes, the second one behind it.
    std::pair<std::size_t, std::size_t> Slice(const Part& part) const {
        const std::uint64_t most = LeastMost(part.count);
        std::size_t begin = 0;
        for (std::uint32_t number = 1; number < part.number; ++number)
            begin = End(begin, part.count - number, most);
        return {begin, End(begin, part.count - part.number, most)};
    }

    std::vector<Delivery> PlanOf(std::size_t begin, std::size_t end) const {
        std::vector<bool> comes_again(end - begin);
        for (std::size_t i = begin; i < end; ++i)
            if (plan_[i].kind == Delivery::Kind::kRepeat && !IsForeign(i, begin))
                comes_again[first_[i] - begin] = true;
        std::vector<Delivery> slice;
        for (std::size_t i = begin; i < end; ++i) {
            const bool is_foreign = IsForeign(i, begin);
            if (is_foreign && drops_repeats_) continue;
            slice.push_back(plan_[i]);
            Delivery::Kind& kind = slice.back().kind;
            if (is_foreign || (kind == Delivery::Kind::kFirst && !comes_again[i - begin]))
                kind = Delivery::Kind::kOnly;
        }
        return slice;
    }

private:
    /// Whether delivery `i` repeats a grid that a slice from `begin` does not contain.
    bool IsForeign(std::size_t i, std::size_t begin) const {
        return plan_[i].kind == Delivery::Kind::kRepeat && first_[i] < begin;
    }

    std::uint64_t Cost(std::size_t i, std::size_t begin) const {
        const bool is_repeat = plan_[i].kind == Delivery::Kind::kRepeat;
        const bool is_shaded = !is_repeat || (IsForeign(i, begin) && !drops_repeats_);
        return plan_[i].samples * (is_shaded ? kShaded : kDelivered);
    }

    /// The end of the longest slice from `begin` that costs at most `most` and leaves a delivery
    /// for each of `later` parts. A single delivery is a slice at any cost.
    std::size_t End(std::size_t begin, std::size_t later, std::uint64_t most) const {
        const std::size_t left = plan_.size() - begin;
        if (left == 0) return begin;
        const std::size_t last = std::max(begin + 1, plan_.size() - std::min(left, later));
        std::uint64_t cost = Cost(begin, begin);
        std::size_t end = begin + 1;
        while (end < last && (cost += Cost(end, begin)) <= most) ++end;
        return end;
    }

    /// Whether `parts` slices that cost at most `most` hold the plan. A longer slice never costs
    /// less, whichever side it grows on, so none does if the longest possible ones do not.
    bool Suffices(std::uint64_t most, std::uint32_t parts) const {
        std::size_t begin = 0;
        for (; parts > 0 && begin < plan_.size(); --parts) begin = End(begin, 0, most);
        return begin == plan_.size();
    }

    /// The least cost, to a thousandth, that the longest of `parts` slices has.
    std::uint64_t LeastMost(std::uint32_t parts) const {
        std::uint64_t low = 0;  // does not suffice
        std::uint64_t high = 1;
        for (std::size_t i = 0; i < plan_.size(); ++i) high += plan_[i].samples * kShaded;
        while (high - low > std::max<std::uint64_t>(high / 1024, 1)) {
            const std::uint64_t middle = low + (high - low) / 2;
            (Suffices(middle, parts) ? high : low) = middle;
        }
        return high;
    }

    const std::vector<Delivery>& plan_;
    const bool drops_repeats_;
    std::vector<std::size_t> first_;  ///< where the grid of each delivery comes first
};

}  // namespace

std::vector<Delivery> TakePart(const std::vector<Delivery>& plan, const Part& part,
                               bool drops_repeats) {
    const PlanCutter cutter(plan, drops_repeats);
    const auto [begin, end] = cutter.Slice(part);
    return cutter.PlanOf(begin, end);
}

}  // namespace bake
