// Groups of live records in the order of the tree: what a pass over the buffer searches in.
//
// A group has eight records, or it is one crowd. Eight groups are a block, eight blocks are a
// block of the next level, and so on. Positions and boxes are stored in columns, so that a search
// compares a place with eight of them at once.
//
// A pass reads the groups of its records from the front, and writes those of the next pass behind
// itself, into the same memory: for each record that it has done with, in order. What is written
// never overtakes what is read.
//
// Units      world space.
// Errors     std::bad_alloc when there is no memory.
// Ownership  owns the groups.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "driver/lanes.h"

class LiveGroups {
public:
    static constexpr std::uint32_t kWidth = 8;
    static constexpr unsigned kAllLanes = (1U << kWidth) - 1;
    static constexpr std::uint32_t kNoGroup = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::int32_t kNoRecord = std::numeric_limits<std::int32_t>::max();

    /// Eight records. The first number of a lane without a record is NaN, which is near nothing.
    struct alignas(64) Group {
        float position[3][kWidth];
        std::int32_t record[kWidth];  ///< ascending; kNoRecord behind the last
    };

    /// Eight boxes. Of a lane without a box all bounds are infinite.
    struct alignas(64) Boxes {
        float low[3][kWidth];
        float high[3][kWidth];
    };

    struct Box {
        float low[3];
        float high[3];
    };

    /// Groups, or blocks of groups. Block i has the items from i * kWidth on.
    struct Level {
        std::vector<Boxes> boxes;           ///< of the items of each block
        std::vector<std::uint8_t> changed;  ///< of each block: bit i is set if item i has changed
    };

    /// Makes room for that many records and crowds, and begins with no group.
    void Reset(std::size_t records, std::size_t crowds);

    /// Appends a record or a crowd. A record at a place that is not finite is left out, because no
    /// other is near it. Caller: in the order of the records.
    void Append(std::int32_t record, const float (&position)[3], bool is_changed) {
        if (is_changed && !Accepts(position)) return;
        const lanes::Floats place = {position[0], position[1], position[2], 0};
        low_ = lanes::Smaller(place, low_);
        high_ = lanes::Larger(place, high_);
        Group& group = groups_[written_];
        for (int axis = 0; axis < 3; ++axis) group.position[axis][lane_] = position[axis];
        group.record[lane_] = record;
        changed_ |= (is_changed ? 1U : 0U) << lane_;
        if (++lane_ == kWidth) EndGroup();
    }
    void AppendCrowd(std::int32_t first_record, const Box& box);

    /// Ends what was appended: from now on it is what is read.
    void Finish();

    /// Whether a place is finite; notes whether it has a small coordinate.
    bool Accepts(const float (&position)[3]) {
        const lanes::Floats signed_place = {position[0], position[1], position[2], 0};
        const lanes::Floats place = signed_place > -signed_place ? signed_place : -signed_place;
        has_small_ |=
            lanes::Mask((place < lanes::All(kSmallest)) & (place != lanes::Floats{})) != 0;
        return lanes::Mask(place <= lanes::All(std::numeric_limits<float>::max())) == 15;
    }

    /// Whether a coordinate was appended that is not 0 and smaller than `kSmallest`. Without any,
    /// two places are equal, or their squared distance is well above the smallest numbers.
    bool HasSmallCoordinates() const { return has_small_; }
    static constexpr float kSmallest = 1e-12f;

    std::uint32_t Count() const { return count_; }
    Group& At(std::uint32_t group) { return groups_[group]; }
    bool IsCrowd(std::uint32_t group) const {
        return has_crowds_ && groups_[group].record[1] == kCrowdMark;
    }
    bool HasCrowds() const { return has_crowds_; }

    /// Bit i: lane i of the group has changed.
    unsigned ChangedLanes(std::uint32_t group) const { return changed_lanes_[group]; }

    /// The items of level 0 are the groups. The last level has one block.
    std::size_t Levels() const { return level_count_; }
    const Level& LevelAt(std::size_t level) const { return levels_[level]; }

    /// The box of an item of a level.
    Box BoxOf(std::size_t level, std::uint32_t item) const;

    /// The lanes of a group that have a record that is left.
    unsigned LiveLanes(std::uint32_t group) const {
        const float* const x = groups_[group].position[0];
        const lanes::Floats first = lanes::Load(x);
        const lanes::Floats second = lanes::Load(x + 4);
        return lanes::Mask(first == first) | lanes::Mask(second == second) << 4;
    }

    /// The lanes behind one.
    static unsigned LanesAfter(std::uint32_t lane) { return (kAllLanes - 1) << lane & kAllLanes; }

    /// Takes a record out, if a group has it; those of a crowd are in none. Caller: it is behind
    /// `group`, or in it.
    void RemoveRecord(std::uint32_t group, std::int32_t record);

private:
    static constexpr float kInfinity = std::numeric_limits<float>::infinity();
    static constexpr lanes::Floats kNoLow = {kInfinity, kInfinity, kInfinity, kInfinity};
    static constexpr std::int32_t kCrowdMark = -1;  // of the lanes after the first one

    void EndGroup();
    void PadGroup();
    void EndItem(std::size_t level, std::uint32_t item, const Box& box, bool is_changed);
    void EndBlock(std::size_t level, std::uint32_t block, std::uint32_t used);

    std::vector<Group> groups_;
    std::vector<std::uint8_t> changed_lanes_;  // of each group
    std::vector<Level> levels_;
    std::uint32_t count_ = 0;
    std::size_t level_count_ = 0;
    bool has_crowds_ = false;
    bool has_small_ = false;

    // Of what is being written.
    std::uint32_t written_ = 0;  // groups
    std::uint32_t lane_ = 0;     // of the group after them
    unsigned changed_ = 0;       // lanes of that group
    lanes::Floats low_ = kNoLow;
    lanes::Floats high_ = -kNoLow;
    bool wrote_crowds_ = false;
    std::vector<unsigned> changed_items_;  // of each level, of the block that is not complete
};
