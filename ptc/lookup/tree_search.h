// TreeSearch: from the roots of several octrees down to the points that a search wants.
//
// Units      bounds are squared distances in world space.
// Errors     a node or a block of points that cannot be read is left out, and so is the rest of a
//            tree that leads to more nodes or points than its file counts; AllRead() then answers
//            false, and the thread's last failure says why. Throws std::bad_alloc.
// Ownership  borrows files and the thread's cache; owns the list of nodes that wait.
// Threads    one caller at a time.
//
// The nodes that wait are a stack: the one to visit next is on top. References in a file lead to
// earlier places, so no path is endless; two nodes of a damaged file may share children, so each
// file's nodes and points are counted.

#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "ptc/access/lookup.h"
#include "ptc/lookup/looked_up_file.h"
#include "ptc/lookup/search_path.h"
#include "ptc/lookup/squared_distance.h"
#include "ptc/lookup/waiting_node.h"

/// Points of a tree that lie one behind the other.
struct PointRun {
    std::int32_t file;
    const PtcPoint* points;
    std::int32_t count;
    std::int32_t place;           ///< of the first one in its tree
    const std::int32_t* indexes;  ///< of the points in their file; null: the places
};

class TreeSearch {
public:
    /// `Search` is what wants points:
    ///   static constexpr bool kNearestFirst      nearest nodes first; if not, in the file's order
    ///   float Limit()                            no node or point that is farther away is wanted
    ///   bool Wants(bound, file, index)           points of the file from `index` on, that far away
    ///   void Visit(const PointRun&)
    template <class Search>
    void Run(const LookedUpFiles& files, PtcThreadCache* cache, const float* place, Search& search);

    /// Whether the last Run() could read all it wanted.
    bool AllRead() const { return all_read_; }

private:
    struct Left {
        std::int64_t nodes;  ///< below 0: the file has been given up
        std::int64_t points;
    };
    struct Octant {
        float bound;
        std::int32_t number;
    };

    template <class Search>
    void Begin(const LookedUpFiles& files, Search& search);
    template <class Search>
    void BeginIn(const LookedUpFiles& files, std::size_t file, float bound, Search& search);
    template <class Search>
    void Descend(const LookedUpFile& file, const WaitingNode& node, unsigned children,
                 Search& search);
    template <class Search>
    void Scan(const LookedUpFile& file, const WaitingNode& leaf, Search& search);

    /// The records of the node's children; null: they cannot be read.
    const PtcNode* ChildrenOf(const LookedUpFile& file, const WaitingNode& node) {
        if (file.in_memory) return file.in_memory->ChildrenOf(node.children);
        const PtcNode* const records =
            ChildRecords(cache_, *file.file, node.reference, node.children);
        all_read_ &= records != nullptr;
        return records;
    }

    void GiveUp(std::int32_t file, const LookedUpFile& damaged, const char* why);

    WaitingNodes waiting_;
    SearchPath path_;
    bool is_on_path_ = false;  ///< the node to be visited next is the last one of the path
    std::vector<Left> left_;
    PtcThreadCache* cache_ = nullptr;
    squared_distance::From from_{kOrigin};
    float limit_ = 0;  ///< of the search at its begin
    bool all_read_ = true;

    static constexpr float kOrigin[3] = {};
};

template <class Search>
void TreeSearch::Run(const LookedUpFiles& files, PtcThreadCache* cache, const float* place,
                     Search& search) {
    cache_ = cache;
    from_ = squared_distance::From(place);
    all_read_ = true;
    path_.Move(files.number, place, std::sqrt(double{search.Limit()}));
    limit_ = search.Limit();
    Begin(files, search);
    while (!waiting_.IsEmpty()) {
        const WaitingNode& top = waiting_.Top();
        waiting_.Pop();
        const auto& file = files.files[static_cast<std::size_t>(top.file)];
        if (left_[static_cast<std::size_t>(top.file)].nodes < 0 ||
            !search.Wants(top.bound, top.file, file.in_memory ? 0 : top.first)) {
            is_on_path_ = false;
            continue;
        }
        const unsigned children = top.IsLarge() ? top.Children() : 0;
        if (children != 0) {
            Descend(file, WaitingNode(top), children, search);
        } else {
            Scan(file, top, search);
        }
    }
}

template <class Search>
void TreeSearch::Begin(const LookedUpFiles& files, Search& search) {
    waiting_.Clear();
    waiting_.MakeRoom(files.files.size());
    left_.resize(files.files.size());
    for (std::size_t four = files.roots.size(); four > 0;) {
        four -= 4;
        const squared_distance::Lanes bounds = from_.ToBoxes(&files.roots[four]);
        unsigned wanted = squared_distance::MaskAtMost(bounds, search.Limit());
        while (wanted != 0) {
            const int lane = static_cast<int>(std::bit_width(wanted)) - 1;
            wanted ^= 1U << lane;
            BeginIn(files, four + static_cast<std::size_t>(lane), bounds[lane], search);
        }
    }
    if (Search::kNearestFirst && waiting_.Count() > 1) waiting_.SortByDistance();
    is_on_path_ = !waiting_.IsEmpty() && waiting_.Top().IsLarge();
    if (is_on_path_ && !path_.NodeFor(waiting_.Top().file)) path_.Begin(waiting_.Top());
}

template <class Search>
void TreeSearch::BeginIn(const LookedUpFiles& files, std::size_t file, float bound,
                         Search& search) {
    const auto number = static_cast<std::int32_t>(file);
    if (file >= files.files.size() || !files.files[file].file || !search.Wants(bound, number, 0))
        return;
    const LookedUpFile& use = files.files[file];
    // What the lookup knows of the file, down to the places of its floats, holds for that content.
    if (!use.in_memory && use.file->Identity() != use.identity) {
        GiveUp(number, use, "the file has changed since the lookup was made");
        return;
    }
    left_[file] = {use.nodes - 1, use.points};
    const WaitingNode* const known = path_.NodeFor(number);
    WaitingNode& node = waiting_.Push();
    if (known) node = *known;
    if (!known) node.Set(bound, number, use.root_reference, files.roots[file]);
    node.bound = bound;
}

/// Lets the children of `node` wait that the search wants.
template <class Search>
void TreeSearch::Descend(const LookedUpFile& file, const WaitingNode& node, unsigned children,
                         Search& search) {
    const bool is_on_path = std::exchange(is_on_path_, false);
    const PtcNode* const records = ChildrenOf(file, node);
    if (!records) return;
    // The one to be visited first comes last. Octants of the same distance stay in the order of
    // their points.
    float bounds[kNodeChildren];
    unsigned wanted = 0;
    for (unsigned i = 0; i < kNodeChildren; i += 4) {
        const squared_distance::Lanes four = from_.ToBoxes(records + i);
        std::memcpy(bounds + i, &four, sizeof four);
        wanted |= squared_distance::MaskAtMost(four, search.Limit()) << i;
    }
    Octant octants[kNodeChildren];
    int count = 0;
    for (wanted &= children; wanted != 0;) {
        const int i = static_cast<int>(std::bit_width(wanted)) - 1;
        wanted ^= 1U << i;
        const float bound = bounds[i];
        if (!search.Wants(bound, node.file, file.in_memory ? 0 : records[i].first_point)) continue;
        int at = count++;
        if (Search::kNearestFirst)
            for (; at > 0 && octants[at - 1].bound < bound; --at) octants[at] = octants[at - 1];
        octants[at] = {bound, i};
    }
    Left& left = left_[static_cast<std::size_t>(node.file)];
    left.nodes -= count;
    if (left.nodes < 0) {
        GiveUp(node.file, file, "it has more nodes than the header counts");
        return;
    }
    waiting_.MakeRoom(kNodeChildren);
    for (int i = 0; i < count; ++i) {
        const int octant = octants[i].number;
        waiting_.Push().Set(octants[i].bound, node.file, node.children[octant], records[octant]);
    }
    if (!is_on_path || count == 0 || !waiting_.Top().IsLarge()) return;
    const unsigned siblings = children & ~(1U << octants[count - 1].number);
    if (siblings == 0) {
        path_.Add(waiting_.Top());
        is_on_path_ = true;
        return;
    }
    float others = HUGE_VALF;
    for (unsigned rest = siblings; rest != 0; rest &= rest - 1)
        others = std::min(others, bounds[std::countr_zero(rest)]);
    // A path that the next search cannot follow is not worth the copies.
    is_on_path_ = others > limit_;
    if (is_on_path_) path_.Add(waiting_.Top(), others);
}

/// Visits the points of a leaf, block by block.
template <class Search>
void TreeSearch::Scan(const LookedUpFile& file, const WaitingNode& leaf, Search& search) {
    Left& left = left_[static_cast<std::size_t>(leaf.file)];
    left.points -= leaf.count;
    if (left.points < 0) {
        GiveUp(leaf.file, file, "its leaves have more points than the header counts");
        return;
    }
    if (leaf.count == 0) return;
    if (file.in_memory) {
        search.Visit({leaf.file, file.in_memory->Point(leaf.first), leaf.count, leaf.first,
                      file.in_memory->Indexes(leaf.first)});
        return;
    }
    constexpr std::int64_t kBlock = PtcPointCache::kPoints;
    const std::int64_t end = std::int64_t{leaf.first} + leaf.count;
    if (end > std::numeric_limits<std::int32_t>::max()) {
        GiveUp(leaf.file, file, "its leaves have more points than an octree can count");
        return;
    }
    for (std::int64_t at = leaf.first; at < end;) {
        const std::int64_t run_end = std::min(at - at % kBlock + kBlock, end);
        const PtcPoint* const points = PointRecordOf(cache_, *file.file, at);
        if (points) {
            search.Visit({leaf.file, points, static_cast<std::int32_t>(run_end - at),
                          static_cast<std::int32_t>(at), nullptr});
        } else {
            all_read_ = false;
        }
        at = run_end;
    }
}
