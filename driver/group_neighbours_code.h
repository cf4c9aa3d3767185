// The code that chooses groups near a query's group and examines all their records at once, without
// a decision in between. Included behind group_search_code.h, in the same namespace. Most searches
// end here; a simplification takes 0.72 of the time that it takes with SearchAll() alone.

inline void Search::StartGroup(std::uint32_t group) {
    group_ = group;
    if (group % kWidth == 0) StartBlock(group / kWidth);
    neighbours_.reach = -1;
    if (groups_.ChangedLanes(group) && !groups_.IsCrowd(group)) ChooseNeighbours();
}

/// Gathers the groups behind the block that most of its searches will look at.
inline void Search::StartBlock(std::uint32_t block) {
    near_.count = 0;
    near_.reach = usual_reach_;
    near_.are_changed = !groups_.LevelAt(0).changed[block];
    if (groups_.Levels() < 2) return;
    const LiveGroups::Box own = groups_.BoxOf(1, block);
    for (int axis = 0; axis < 3; ++axis) {
        block_low_[axis] = All(own.low[axis]);
        block_high_[axis] = All(own.high[axis]);
    }
    for (int tries = 0; tries < 8; ++tries) {
        near_.count = 0;
        bool is_complete = true;
        std::uint32_t item = block;
        for (std::size_t level = 1; is_complete && level < groups_.Levels(); ++level) {
            const unsigned after = LiveGroups::LanesAfter(item % kWidth);
            item /= kWidth;
            is_complete = Gather(level, item, after);
        }
        if (is_complete) {
            // The lanes behind the last are infinitely far from every place.
            for (int axis = 0; axis < 3; ++axis) {
                Store(All(kInfinity), near_.low[axis] + near_.count);
                Store(All(kInfinity), near_.high[axis] + near_.count);
            }
            return;
        }
        near_.reach *= 0.5f;
    }
    near_.count = 0;
    near_.reach = -1;
}

/// Adds the groups below the items of a block to the near ones. False: there are too many.
inline bool Search::Gather(std::size_t level, std::uint32_t block, unsigned items) {
    const LiveGroups::Boxes& boxes = groups_.LevelAt(level).boxes[block];
    if (near_.are_changed) items &= groups_.LevelAt(level).changed[block];
    items &= AtMost(ToBoxes(block_low_, block_high_, ColumnsOf(boxes)), near_.reach);
    const std::uint32_t first = block * kWidth;
    if (level > 0) {
        for (; items; items &= items - 1) {
            const auto lane = static_cast<std::uint32_t>(std::countr_zero(items));
            if (!Gather(level - 1, first + lane, kAllLanes)) return false;
        }
        return true;
    }
    const auto more = static_cast<std::uint32_t>(std::popcount(items));
    if (near_.count + more > NearGroups::kMost) return false;
    for (int axis = 0; axis < 3; ++axis) {
        Pack(boxes.low[axis], items, near_.low[axis] + near_.count);
        Pack(boxes.high[axis], items, near_.high[axis] + near_.count);
    }
    for (std::uint32_t i = 0; i < kWidth; ++i)
        near_.groups[near_.count + i] = first + lanes::kLanesOf[items][i];
    near_.count += more;
    return true;
}

/// Chooses the groups whose records a search examines first: those near the records that are left
/// of the group.
inline void Search::ChooseNeighbours() {
    const LiveGroups::Group& group = groups_.At(group_);
    const Eight x = Load(group.position[0]);
    Eight low[3];
    Eight high[3];
    for (int axis = 0; axis < 3; ++axis) {
        const Eight live = HideWhereNaN(Load(group.position[axis]), x);
        low[axis] = All(Lowest(live));
        high[axis] = All(Highest(live));
    }
    const std::uint32_t block = group_ / kWidth;
    const Eight siblings = ToBoxes(low, high, ColumnsOf(groups_.LevelAt(0).boxes[block]));
    Eight squared[NearGroups::kMost / kWidth];
    const std::uint32_t blocks = near_.Blocks();
    for (std::uint32_t i = 0; i < blocks; ++i) squared[i] = ToBoxes(low, high, near_.Block(i));

    std::uint32_t sibling_groups[kWidth];
    for (std::uint32_t i = 0; i < kWidth; ++i) sibling_groups[i] = block * kWidth + i;
    float reach = std::min(near_.reach, usual_reach_);
    for (int tries = 0; tries < 8; ++tries, reach *= 0.7f) {
        neighbours_.groups[0] = group_;
        neighbours_.count = 1;
        const unsigned after = LiveGroups::LanesAfter(group_ % kWidth);
        bool is_complete = AddNeighbours(AtMost(siblings, reach) & after, sibling_groups);
        for (std::uint32_t i = 0; is_complete && i < blocks; ++i)
            is_complete = AddNeighbours(AtMost(squared[i], reach), near_.groups + i * kWidth);
        if (!is_complete) continue;
        neighbours_.reach = reach;
        return;
    }
}

inline bool Search::AddNeighbours(unsigned lanes, const std::uint32_t* groups) {
    const auto more = static_cast<std::uint32_t>(std::popcount(lanes));
    if (neighbours_.count + more > Neighbours::kMost) return false;
    std::uint32_t* const added = neighbours_.groups + neighbours_.count;
    Pack(groups, lanes, added);
    neighbours_.count += more;
    return !groups_.HasCrowds() ||
           std::none_of(added, added + more, [this](auto group) { return groups_.IsCrowd(group); });
}

/// Examines all records of the neighbours at once.
inline Search::Outcome Search::Examine(std::uint32_t lane) {
    const float range = neighbours_.reach;
    if (!(range > 0)) return Outcome::kUnknown;
    Eight squared[Neighbours::kMost];
    const std::uint32_t count = neighbours_.count;
    // Not the record itself, nor those before it.
    squared[0] = HideFirst(ToRecords(place_, groups_.At(group_)), lane + 1);
    Eight least = Smaller(squared[0], All(kInfinity));
    for (std::uint32_t i = 1; i < count; ++i) {
        squared[i] = ToRecords(place_, groups_.At(neighbours_.groups[i]));
        least = Smaller(squared[i], least);
    }
    const float nearest = Lowest(least);
    if (!(nearest <= PairRules::Nearer(range))) {
        if (range == reach_ && nearest > range) return Outcome::kNobody;
        usual_reach_ = std::min(usual_reach_ * 1.2f, reach_);
        return Outcome::kUnknown;
    }
    usual_reach_ *= 0.995f;
    if (nearest < kSmallest) return Outcome::kUnknown;

    const Eight share = All(PairRules::kNearer);
    std::uint64_t rivals[2] = {};
    for (std::uint32_t i = 0; i < count; ++i)
        rivals[i / 8] |= std::uint64_t{Below(squared[i] * share, nearest)} << (i % 8 * kWidth);
    if (TakeSingle(rivals)) return Outcome::kFound;
    return WalkNeighbours(squared);
}

/// Takes the nearest record if it is alike and has no rivals: all others, be they alike or not, are
/// so much farther away that none can replace it or keep it from replacing them.
inline bool Search::TakeSingle(const std::uint64_t (&rivals)[2]) {
    if (rivals[0] && rivals[1]) return false;
    const std::uint64_t bits = rivals[0] | rivals[1];
    if (bits & (bits - 1)) return false;
    const auto bit = static_cast<std::uint32_t>(std::countr_zero(bits));
    const std::uint32_t group = neighbours_.groups[bit / kWidth + (rivals[0] ? 0 : 8)];
    const std::int32_t record = groups_.At(group).record[bit % kWidth];
    if (!rules_.IsAlike(*query_, records_[static_cast<std::size_t>(record)])) return false;
    partner_group_ = group;
    partner_lane_ = bit % kWidth;
    return true;
}

/// Walks over the neighbours' records in order. Those within the range decide alone: the first of
/// them that is alike replaces any record beyond. This does not hold if one is so close to the end
/// of the range that a record beyond may keep it from being taken.
inline Search::Outcome Search::WalkNeighbours(const Eight* squared) {
    float distances[kWidth];
    float reach = PairRules::Nearer(neighbours_.reach);
    for (std::uint32_t i = 0; i < neighbours_.count; ++i)
        if (AtMost(squared[i], reach) != AtMost(squared[i], neighbours_.reach))
            return Outcome::kUnknown;
    Outcome outcome = Outcome::kUnknown;
    for (std::uint32_t i = 0; i < neighbours_.count; ++i) {
        unsigned lanes = AtMost(squared[i], reach);
        if (!lanes) continue;
        Store(squared[i], distances);
        const std::uint32_t group = neighbours_.groups[i];
        for (; lanes; lanes &= lanes - 1) {
            const auto lane = static_cast<std::uint32_t>(std::countr_zero(lanes));
            if (!(distances[lane] <= reach)) continue;
            const std::int32_t record = groups_.At(group).record[lane];
            if (!rules_.IsAlike(*query_, records_[static_cast<std::size_t>(record)])) continue;
            reach = PairRules::Nearer(distances[lane]);
            partner_group_ = group;
            partner_lane_ = lane;
            outcome = Outcome::kFound;
        }
    }
    return outcome;
}
