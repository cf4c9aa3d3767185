// Crowds: leaves of the octree with very many records, each searched through a tree of its own.
//
// The octree cannot split records at one place, nor records whose distances vanish in rounding
// beside a large radius. A crowd's tree splits by all numbers that decide about a pair: positions,
// normals and data. So a search skips whole nodes that contain no partner. The answer depends only
// on the order of the records and is the same as that of a walk over the leaf.
//
// A node is split only when a search cannot be decided by its first (or last) records: crowds
// whose records are mostly alike are never split. Records with equal coordinates stay together.
//
// Ownership  borrows rules, records and removed flags.
// Errors     std::bad_alloc when there is no memory for the trees; StartPass() makes the crowds
//            usable again.
// Threads    one caller at a time: a search splits nodes and drops records that are gone.

#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "driver/pair_rules.h"

class Crowds {
public:
    static constexpr std::int32_t kNobody = -1;

    /// A leaf of at most this many records is not a crowd: a walk over it is as fast as a search.
    static constexpr std::int32_t kLargestLeaf = 64;

    enum class End { kFirst, kLast };

    /// A search for the first or last record after record `query` that is alike and within `reach`,
    /// a squared distance.
    struct Wish {
        std::int32_t query;
        float reach;
        End end;
    };

    Crowds(const PairRules& rules, std::span<const PointRecord> records,
           std::span<const std::uint8_t> removed)
        : rules_(rules), records_(records), removed_(removed) {}

    /// Caller: calls this before each pass. Within a pass, queries come in index order, only
    /// records up to the query change, and a removed record stays removed.
    void StartPass();

    /// The crowd of a leaf; the first call in a pass gathers its records.
    std::uint32_t Of(const SimplifyNode& leaf, std::int32_t query);

    /// The record of the crowd that fulfils the wish, or kNobody.
    std::int32_t Find(std::uint32_t crowd, const Wish& wish);

private:
    /// The range [begin, end) of `members_`, in index order. `lowest` and `highest` bound the
    /// indexes of those that are left.
    struct Node {
        std::int32_t lowest;
        std::int32_t highest;
        std::uint32_t begin;
        std::uint32_t end;
        std::uint32_t children;  // index of the first of two; 0: not split
        std::uint32_t axis;      // along which the parent is split
        bool is_uniform;         // its records have equal coordinates
    };

    std::uint32_t AddNode(std::uint32_t begin, std::uint32_t end, std::uint32_t axis);
    void Visit(std::uint32_t index);
    bool Settles(const Node& node);
    bool Split(std::uint32_t index);
    void Trim(Node& node) const;
    void KeepLive(Node& node);
    std::uint32_t NextAxis(std::uint32_t index) const;
    std::int32_t Rank(std::int32_t lowest, std::int32_t highest) const;
    bool IsGone(std::int32_t record) const;
    const PointRecord& Record(std::int32_t index) const {
        return records_[static_cast<std::size_t>(index)];
    }
    float* Low(std::uint32_t node) { return bounds_.data() + node * 2 * rules_.Axes(); }
    float* High(std::uint32_t node) { return Low(node) + rules_.Axes(); }

    const PairRules& rules_;
    std::span<const PointRecord> records_;
    std::span<const std::uint8_t> removed_;

    // Of one pass, all crowds together.
    std::unordered_map<std::int32_t, std::uint32_t> roots_;  // by the leaf's first record
    std::vector<Node> nodes_;
    std::vector<float> bounds_;  // of each node: the lowest coordinates, then the highest
    std::vector<std::int32_t> members_;
    std::vector<float> keys_;  // scratch of Split()

    // Of one search.
    Wish wish_{};
    std::int32_t found_ = kNobody;
    std::int32_t best_rank_ = 0;
};
