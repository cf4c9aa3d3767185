// Groups of live records: appending, boxes of all levels.

#include "driver/live_groups.h"

#include <algorithm>
#include <utility>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::size_t BlocksFor(std::size_t items) {
    return (items + LiveGroups::kWidth - 1) / LiveGroups::kWidth;
}

float Lowest(const float* eight) {
    return lanes::Lowest(lanes::Load(eight), lanes::Load(eight + 4));
}

float Highest(const float* eight) {
    return lanes::Highest(lanes::Load(eight), lanes::Load(eight + 4));
}

void SetLane(LiveGroups::Boxes& boxes, std::uint32_t lane, const LiveGroups::Box& box) {
    for (int axis = 0; axis < 3; ++axis) {
        boxes.low[axis][lane] = box.low[axis];
        boxes.high[axis][lane] = box.high[axis];
    }
}

LiveGroups::Box GetLane(const LiveGroups::Boxes& boxes, std::uint32_t lane) {
    LiveGroups::Box box;
    for (int axis = 0; axis < 3; ++axis) {
        box.low[axis] = boxes.low[axis][lane];
        box.high[axis] = boxes.high[axis][lane];
    }
    return box;
}

/// Infinitely far from every place: the box of a lane without an item.
constexpr LiveGroups::Box kNowhere = {{kInfinity, kInfinity, kInfinity},
                                      {kInfinity, kInfinity, kInfinity}};

}  // namespace

void LiveGroups::Reset(std::size_t records, std::size_t crowds) {
    // A crowd has a group of its own, and the group before it may not be full.
    std::size_t items = BlocksFor(records) + 2 * crowds + 1;
    if (groups_.size() < items) {
        groups_.resize(items);
        changed_lanes_.resize(items);
        for (std::size_t level = 0; items > 1 || level == 0; ++level) {
            items = BlocksFor(items);
            if (levels_.size() == level) levels_.emplace_back();
            levels_[level].boxes.resize(items);
            levels_[level].changed.resize(items);
        }
        changed_items_.resize(levels_.size());
    }
    written_ = 0;
    wrote_crowds_ = false;
}

void LiveGroups::AppendCrowd(std::int32_t first_record, const Box& box) {
    PadGroup();
    Group& group = groups_[written_];
    std::fill_n(group.position[0], kWidth, kNaN);
    std::fill_n(group.record, kWidth, kCrowdMark);
    group.record[0] = first_record;
    changed_lanes_[written_] = kAllLanes;
    EndItem(0, written_++, box, true);
    wrote_crowds_ = true;
}

void LiveGroups::Finish() {
    PadGroup();
    count_ = written_;
    has_crowds_ = wrote_crowds_;
    level_count_ = 0;
    for (std::uint32_t items = count_; items > 0;) {
        if (items % kWidth) EndBlock(level_count_, items / kWidth, items % kWidth);
        ++level_count_;
        items = items > kWidth ? (items + kWidth - 1) / kWidth : 0;
    }
    std::fill(changed_items_.begin(), changed_items_.end(), 0U);
    written_ = 0;
    wrote_crowds_ = false;
}

/// Ends the group that is being filled, if there is one.
void LiveGroups::PadGroup() {
    if (lane_ == 0) return;
    Group& group = groups_[written_];
    for (std::uint32_t lane = lane_; lane < kWidth; ++lane) {
        group.position[0][lane] = kNaN;
        group.record[lane] = kNoRecord;
    }
    EndGroup();
}

void LiveGroups::EndGroup() {
    Box box;
    std::memcpy(box.low, &low_, sizeof box.low);
    std::memcpy(box.high, &high_, sizeof box.high);
    low_ = kNoLow;
    high_ = -kNoLow;
    changed_lanes_[written_] = static_cast<std::uint8_t>(changed_);
    EndItem(0, written_, box, changed_ != 0);
    ++written_;
    lane_ = 0;
    changed_ = 0;
}

void LiveGroups::EndItem(std::size_t level, std::uint32_t item, const Box& box, bool is_changed) {
    const std::uint32_t lane = item % kWidth;
    SetLane(levels_[level].boxes[item / kWidth], lane, box);
    changed_items_[level] |= (is_changed ? 1U : 0U) << lane;
    if (lane + 1 == kWidth) EndBlock(level, item / kWidth, kWidth);
}

/// Ends a block that has `used` items.
void LiveGroups::EndBlock(std::size_t level, std::uint32_t block, std::uint32_t used) {
    Boxes& boxes = levels_[level].boxes[block];
    const Box first = GetLane(boxes, 0);
    for (std::uint32_t lane = used; lane < kWidth; ++lane) SetLane(boxes, lane, first);
    Box whole;
    for (int axis = 0; axis < 3; ++axis) {
        whole.low[axis] = Lowest(boxes.low[axis]);
        whole.high[axis] = Highest(boxes.high[axis]);
    }
    for (std::uint32_t lane = used; lane < kWidth; ++lane) SetLane(boxes, lane, kNowhere);

    const unsigned changed = std::exchange(changed_items_[level], 0U);
    levels_[level].changed[block] = static_cast<std::uint8_t>(changed);
    if (level + 1 < levels_.size()) EndItem(level + 1, block, whole, changed != 0);
}

LiveGroups::Box LiveGroups::BoxOf(std::size_t level, std::uint32_t item) const {
    return GetLane(levels_[level].boxes[item / kWidth], item % kWidth);
}

void LiveGroups::RemoveRecord(std::uint32_t group, std::int32_t record) {
    const auto begin = groups_.begin() + group;
    const auto after =
        std::upper_bound(begin, groups_.begin() + count_, record,
                         [](std::int32_t wanted, const Group& g) { return wanted < g.record[0]; });
    if (after == begin) return;
    Group& found = *(after - 1);
    for (std::uint32_t lane = 0; lane < kWidth; ++lane)
        if (found.record[lane] == record) found.position[0][lane] = kNaN;
}
