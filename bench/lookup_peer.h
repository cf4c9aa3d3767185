// What lookups are compared with: nanoflann, over points that it reads in place.
//
// Threads    a peer that is built may be asked by any.

#pragma once

#include <algorithm>
#include <cstdint>
#include <nanoflann.hpp>
#include <vector>

constexpr std::int32_t kMost = 8;

/// Positions one behind the other, which the peer reads in place.
struct Positions {
    std::vector<float> floats;

    std::size_t kdtree_get_point_count() const { return floats.size() / 3; }
    float kdtree_get_pt(std::size_t i, std::size_t axis) const { return floats[3 * i + axis]; }
    template <class Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};

using Peer = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, Positions>,
                                                 Positions, 3, std::uint32_t>;

/// Squared distances and indexes, kMost for each place.
struct Found {
    explicit Found(std::size_t places) : squared(places * kMost), indexes(places * kMost) {}
    std::vector<float> squared;
    std::vector<std::int64_t> indexes;
};

inline void AskPeer(const Peer& peer, const std::vector<float>& places, std::size_t begin,
                    std::size_t end, Found* found) {
    std::uint32_t indexes[kMost];
    for (std::size_t i = begin; i < end; ++i) {
        peer.knnSearch(&places[3 * i], kMost, indexes, &found->squared[kMost * i]);
        std::copy_n(indexes, kMost, &found->indexes[kMost * i]);
    }
}
