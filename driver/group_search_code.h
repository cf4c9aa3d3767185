// The code of the search in groups. Each file that includes this does so in a namespace of its own,
// and defines `Eight` before: eight floats that are computed with at once, and what is done with
// them. So one code is compiled for several kinds of processors, and all of them answer the same.

inline constexpr std::uint32_t kWidth = LiveGroups::kWidth;
inline constexpr unsigned kAllLanes = LiveGroups::kAllLanes;

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// A distance from here on is more than its share that makes a candidate nearer. Two different
/// places without small coordinates are much farther apart.
inline constexpr float kSmallest = 1e-41f;

/// Eight boxes in columns: the first of each axis, and how far the next axis is from it.
struct BoxColumns {
    const float* low;
    const float* high;
    std::size_t stride;
};
inline BoxColumns ColumnsOf(const LiveGroups::Boxes& boxes) {
    return {boxes.low[0], boxes.high[0], kWidth};
}

/// The squared distances of eight boxes from a box, or from a point.
inline Eight ToBoxes(const Eight (&low)[3], const Eight (&high)[3], const BoxColumns& boxes) {
    Eight squared = All(0);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const Eight below = Load(boxes.low + axis * boxes.stride) - high[axis];
        const Eight above = low[axis] - Load(boxes.high + axis * boxes.stride);
        const Eight outside = Larger(Larger(below, above), All(0));
        squared = squared + outside * outside;
    }
    return squared;
}

/// The squared distances of eight records from a point.
inline Eight ToRecords(const Eight (&place)[3], const LiveGroups::Group& group) {
    const Eight x = place[0] - Load(group.position[0]);
    const Eight y = place[1] - Load(group.position[1]);
    const Eight z = place[2] - Load(group.position[2]);
    return x * x + y * y + z * z;
}

class Search final : public GroupSearch {
public:
    explicit Search(const Parts& parts)
        : groups_(parts.groups),
          tree_(parts.tree),
          tree_search_(parts.tree_search),
          rules_(parts.tree_search.Rules()),
          usual_reach_(PairRules::Nearer(rules_.Limit())) {}

    void StartPass(std::span<const PointRecord> records) override { records_ = records; }
    void StartGroup(std::uint32_t group) override;
    std::int32_t PartnerOf(std::uint32_t lane, bool is_changed) override;
    std::int32_t PartnerInCrowd(std::int32_t record) override;

private:
    /// Groups behind a block that are near its box, in order. If no record of the block has
    /// changed, only those with changed records: its searches take no others.
    struct NearGroups {
        static constexpr std::uint32_t kMost = 64;
        static constexpr std::uint32_t kRoom = kMost + kWidth;  // eight are written at once

        float low[3][kRoom];
        float high[3][kRoom];
        std::uint32_t groups[kRoom];
        std::uint32_t count;
        float reach;  // no other such group behind the block is within this squared distance
        bool are_changed;

        std::uint32_t Blocks() const { return (count + kWidth - 1) / kWidth; }
        BoxColumns Block(std::uint32_t i) const {
            return {low[0] + i * kWidth, high[0] + i * kWidth, kRoom};
        }
    };

    /// A group and others behind it that are near its box: few enough to examine all their records
    /// without a decision in between.
    struct Neighbours {
        static constexpr std::uint32_t kMost = 16;

        std::uint32_t groups[kMost + kWidth];  // eight are written at once
        std::uint32_t count;
        float reach;  // no other group behind is within this squared distance
    };

    enum class Outcome { kUnknown, kNobody, kFound };

    void StartBlock(std::uint32_t block);
    bool Gather(std::size_t level, std::uint32_t block, unsigned items);
    void ChooseNeighbours();
    bool AddNeighbours(unsigned lanes, const std::uint32_t* groups);
    void StartQuery(std::int32_t record);
    void Remove(std::uint32_t group, std::uint32_t lane);
    Outcome Examine(std::uint32_t lane);
    bool TakeSingle(const std::uint64_t (&rivals)[2]);
    Outcome WalkNeighbours(const Eight* squared);
    std::int32_t SearchAll(unsigned lanes_after);
    void SearchNear();
    void SearchBlock(std::size_t level, std::uint32_t block, unsigned items);
    void SearchGroup(std::uint32_t group, unsigned lanes);
    void ContinueInLeaf(std::int32_t record);

    LiveGroups& groups_;
    std::span<const PointRecord> records_;
    Octree& tree_;
    PartnerSearch& tree_search_;
    const PairRules& rules_;
    float usual_reach_;  // within which most searches end; adapted from search to search

    // Of one block.
    NearGroups near_{};
    Eight block_low_[3] = {};
    Eight block_high_[3] = {};

    // Of one group.
    std::uint32_t group_ = 0;
    Neighbours neighbours_{};

    // Of one search.
    const PointRecord* query_ = nullptr;
    std::int32_t query_index_ = 0;
    bool is_changed_ = false;
    Eight place_[3] = {};
    float best_ = 0;
    float reach_ = 0;  // the largest squared distance that is near enough
    std::int32_t partner_ = kNobody;
    std::uint32_t partner_group_ = 0;
    std::uint32_t partner_lane_ = 0;
};

inline void Search::StartQuery(std::int32_t record) {
    query_index_ = record;
    query_ = &records_[static_cast<std::size_t>(record)];
    best_ = rules_.Limit();
    reach_ = PairRules::Nearer(best_);
    partner_ = kNobody;
}

/// Writes all lanes at once, because the processor waits long for a narrow store before it loads a
/// wide register over it, and the next search does so.
inline void Search::Remove(std::uint32_t group, std::uint32_t lane) {
    float* const x = groups_.At(group).position[0];
    Store(HideLane(Load(x), lane), x);
}

inline std::int32_t Search::PartnerOf(std::uint32_t lane, bool is_changed) {
    const LiveGroups::Group& group = groups_.At(group_);
    StartQuery(group.record[lane]);
    // Not from the record, whose memory may be cold: the search goes on while it is fetched.
    for (int axis = 0; axis < 3; ++axis) place_[axis] = All(group.position[axis][lane]);
    is_changed_ = is_changed;
    const Outcome outcome = is_changed ? Examine(lane) : Outcome::kUnknown;
    if (outcome == Outcome::kUnknown) return SearchAll(LiveGroups::LanesAfter(lane));
    if (outcome == Outcome::kNobody) return kNobody;
    Remove(partner_group_, partner_lane_);
    return groups_.At(partner_group_).record[partner_lane_];
}

inline std::int32_t Search::PartnerInCrowd(std::int32_t record) {
    StartQuery(record);
    for (int axis = 0; axis < 3; ++axis) place_[axis] = All(query_->head.position[axis]);
    is_changed_ = true;
    ContinueInLeaf(record);
    // One at distance 0 is final, and no group has it, because it is in the crowd.
    return reach_ < 0 ? partner_ : SearchAll(0);
}

/// Searches all groups behind the record, in order, as a walk over all records would.
inline std::int32_t Search::SearchAll(unsigned lanes_after) {
    if (!is_changed_) lanes_after &= groups_.ChangedLanes(group_);
    if (lanes_after) SearchGroup(group_, lanes_after);
    std::uint32_t item = group_ / kWidth;
    SearchBlock(0, item, LiveGroups::LanesAfter(group_ % kWidth));
    if (reach_ <= near_.reach) {
        SearchNear();
    } else {
        for (std::size_t level = 1; level < groups_.Levels(); ++level) {
            const unsigned after = LiveGroups::LanesAfter(item % kWidth);
            item /= kWidth;
            SearchBlock(level, item, after);
        }
    }
    if (partner_ == kNobody) return kNobody;
    if (best_ > 0 && best_ < kSmallest) {
        partner_ = tree_search_.PartnerOf(query_index_);
        partner_group_ = LiveGroups::kNoGroup;
    }
    if (partner_group_ == LiveGroups::kNoGroup) {
        groups_.RemoveRecord(group_, partner_);
    } else {
        Remove(partner_group_, partner_lane_);
    }
    return partner_;
}

inline void Search::SearchNear() {
    const std::uint32_t blocks = near_.Blocks();
    for (std::uint32_t block = 0; block < blocks; ++block) {
        const Eight squared = ToBoxes(place_, place_, near_.Block(block));
        for (unsigned items = AtMost(squared, reach_); items; items &= AtMost(squared, reach_)) {
            const auto lane = static_cast<std::uint32_t>(std::countr_zero(items));
            items &= items - 1;
            const std::uint32_t group = near_.groups[block * kWidth + lane];
            const unsigned lanes = is_changed_ ? kAllLanes : groups_.ChangedLanes(group);
            if (lanes) SearchGroup(group, lanes);
        }
    }
}

/// Searches below the items of a block. Recurses once a level.
inline void Search::SearchBlock(std::size_t level, std::uint32_t block, unsigned items) {
    const LiveGroups::Level& at = groups_.LevelAt(level);
    if (!is_changed_) items &= at.changed[block];
    if (!items) return;
    const Eight squared = ToBoxes(place_, place_, ColumnsOf(at.boxes[block]));
    for (items &= AtMost(squared, reach_); items; items &= AtMost(squared, reach_)) {
        const auto lane = static_cast<std::uint32_t>(std::countr_zero(items));
        items &= items - 1;
        const std::uint32_t item = block * kWidth + lane;
        if (level > 0) {
            SearchBlock(level - 1, item, kAllLanes);
        } else {
            SearchGroup(item, is_changed_ ? kAllLanes : groups_.ChangedLanes(item));
        }
    }
}

inline void Search::SearchGroup(std::uint32_t group, unsigned lanes) {
    const LiveGroups::Group& at = groups_.At(group);
    if (groups_.IsCrowd(group)) {
        ContinueInLeaf(at.record[0]);
        return;
    }
    const Eight squared = ToRecords(place_, at);
    lanes &= AtMost(squared, reach_);
    if (!lanes) return;
    float distances[kWidth];
    Store(squared, distances);
    for (; lanes; lanes &= lanes - 1) {
        const auto lane = static_cast<std::uint32_t>(std::countr_zero(lanes));
        if (!(distances[lane] <= reach_)) continue;
        const std::int32_t record = at.record[lane];
        if (!rules_.IsAlike(*query_, records_[static_cast<std::size_t>(record)])) continue;
        best_ = distances[lane];
        reach_ = PairRules::Nearer(best_);
        partner_ = record;
        partner_group_ = group;
        partner_lane_ = lane;
        if (best_ == 0) {
            ContinueInLeaf(record);
            return;
        }
    }
}

/// Searches the leaf of a record, as far as it is behind the query. What was found before and
/// belongs to it is found again.
inline void Search::ContinueInLeaf(std::int32_t record) {
    const std::int32_t partner = partner_;
    tree_search_.ContinueInLeaf(tree_.LeafOf(record), query_index_, &best_, &partner_);
    reach_ = PairRules::Nearer(best_);
    if (partner_ != partner) partner_group_ = LiveGroups::kNoGroup;
    // At distance 0, only a record of the same leaf replaces another.
    if (partner_ != kNobody && best_ == 0) reach_ = -1;
}
