// The simplifier in its plainest form: pointers, recursion, one thing after the other.
//
// The product must agree with it to the bit; it is slow and easy to follow, and shares no code
// with the product but the records.

#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "driver/simplify.h"

namespace plain_simplify {

struct Node {
    int count = 0;
    int first = 0;
    float low[3] = {};
    float high[3] = {};
    bool is_empty = false;
    bool is_leaf = true;
    std::unique_ptr<Node> children[8];
};

class Run {
public:
    Run(std::span<PointRecord> records, std::span<std::uint8_t> removed,
        const SimplifySettings& settings, const Projection& projection)
        : records_(records), removed_(removed), settings_(settings), projection_(projection) {}

    void Simplify() {
        int remaining = static_cast<int>(records_.size());
        auto root = Root(remaining);
        for (;;) {
            record_count_ = root->count;
            const int merged = Pass(*root);
            remaining -= merged;
            if (merged < 1) return;
            if (static_cast<float>(root->count) * 0.2f > static_cast<float>(remaining)) {
                Compact(root->count);
                root = Root(remaining);
            } else {
                Refit(*root);
            }
        }
    }

private:
    PointRecord& R(int i) { return records_[static_cast<std::size_t>(i)]; }
    std::uint8_t& Gone(int i) { return removed_[static_cast<std::size_t>(i)]; }

    std::unique_ptr<Node> Root(int count) {
        auto root = std::make_unique<Node>();
        root->count = count;
        Build(*root);
        return root;
    }

    static int Octant(const float* c, const float* p) {
        return (c[0] <= p[0]) + 2 * (c[1] <= p[1]) + 4 * (c[2] <= p[2]);
    }

    void Build(Node& node) {
        float low[3];
        float high[3];
        float center[3];
        float radius = 0;
        for (int i = node.first; i < node.first + node.count; ++i)
            radius = std::max(radius, R(i).head.radius);
        for (int a = 0; a < 3; ++a) {
            low[a] = high[a] = R(node.first).head.position[a];
            for (int i = node.first; i < node.first + node.count; ++i) {
                low[a] = std::min(low[a], R(i).head.position[a]);
                high[a] = std::max(high[a], R(i).head.position[a]);
            }
            node.low[a] = low[a] - radius;
            node.high[a] = high[a] + radius;
            center[a] = (node.low[a] + node.high[a]) * 0.5f;
        }
        if (node.count <= 16 || Octant(center, low) == Octant(center, high)) return;
        node.is_leaf = false;
        int counts[8] = {};
        for (int i = node.first; i < node.first + node.count; ++i)
            ++counts[Octant(center, R(i).head.position)];
        int starts[8];
        int start = node.first;
        for (int o = 0; o < 8; ++o) {
            starts[o] = start;
            if (counts[o]) {
                node.children[o] = std::make_unique<Node>();
                node.children[o]->count = counts[o];
                node.children[o]->first = start;
            }
            start += counts[o];
        }
        for (int o = 0; o < 7; ++o) {
            int lo = starts[o];
            int hi = node.first + node.count - 1;
            while (lo < hi) {
                if (Octant(center, R(lo).head.position) == o) {
                    ++lo;
                } else if (Octant(center, R(hi).head.position) != o) {
                    --hi;
                } else {
                    std::swap(R(lo), R(hi));
                }
            }
        }
        for (auto& child : node.children)
            if (child) Build(*child);
    }

    int Pass(Node& root) {
        int merged = 0;
        for (int i = 0; i < record_count_; ++i) {
            if (Gone(i)) continue;
            query_ = i;
            best_ = settings_.max_distance * settings_.max_distance * 1.002f;
            partner_ = -1;
            Search(root);
            if (partner_ < 0) continue;
            Merge(R(i), R(partner_));
            Gone(partner_) = 1;
            ++merged;
        }
        return merged;
    }

    void Search(Node& node) {
        if (query_ >= node.first + node.count || node.first >= record_count_) return;
        if (!node.is_leaf) {
            for (auto& child : node.children)
                if (child && !child->is_empty && BoxDistance(*child) < best_) Search(*child);
            return;
        }
        const int begin = std::max(query_ + 1, node.first);
        const int end = std::min(node.first + node.count, record_count_);
        bool saw_any = false;
        for (int j = begin; j < end; ++j) {
            if (Gone(j)) continue;
            saw_any = true;
            const float d = Distance(R(query_), R(j));
            if (d <= best_ * 0.999f && IsAlike(R(query_), R(j))) {
                best_ = d;
                partner_ = j;
            }
        }
        if (begin == node.first && end == node.first + node.count) node.is_empty = !saw_any;
    }

    float Raster(float squared, float depth) const {
        const auto& m = projection_.world_to_ndc;
        const float d =
            std::sqrt(squared) * m[0] / (depth * m[11] + m[15]) * (projection_.format[0] * 0.5f);
        return d * d;
    }

    float Distance(const PointRecord& a, const PointRecord& b) const {
        float squared = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float d = a.head.position[axis] - b.head.position[axis];
            squared += d * d;
        }
        const float depth = (a.head.position[2] + b.head.position[2]) * 0.5f;
        return settings_.is_raster_space ? Raster(squared, depth) : squared;
    }

    float BoxDistance(const Node& node) {
        const float* const p = R(query_).head.position;
        float squared = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float d = std::max({0.0f, node.low[axis] - p[axis], p[axis] - node.high[axis]});
            squared += d * d;
        }
        return settings_.is_raster_space && squared != 0 ? Raster(squared, p[2]) : squared;
    }

    bool IsAlike(const PointRecord& a, const PointRecord& b) const {
        float dot = 0;
        for (int axis = 0; axis < 3; ++axis) dot += a.head.normal[axis] * b.head.normal[axis];
        if (!(dot >= settings_.min_dot)) return false;
        if (settings_.max_difference < 0 || settings_.max_difference >= 1e15f) return true;
        for (std::size_t k = 0; k < settings_.area_flags.size(); ++k)
            if (!settings_.area_flags[k] &&
                std::fabs(a.data[k] - b.data[k]) > settings_.max_difference)
                return false;
        return true;
    }

    void Merge(PointRecord& a, const PointRecord& b) const {
        const float sum = a.head.radius + b.head.radius;
        const float wa = a.head.radius / sum;
        const float wb = b.head.radius / sum;
        float length = 0;
        for (int axis = 0; axis < 3; ++axis) {
            a.head.position[axis] = a.head.position[axis] * wa + b.head.position[axis] * wb;
            a.head.normal[axis] = a.head.normal[axis] * wa + b.head.normal[axis] * wb;
            length += a.head.normal[axis] * a.head.normal[axis];
        }
        for (float& n : a.head.normal) n /= std::sqrt(length);
        a.head.radius = std::sqrt(a.head.radius * a.head.radius + b.head.radius * b.head.radius);
        for (std::size_t k = 0; k < settings_.area_flags.size(); ++k)
            a.data[k] =
                settings_.area_flags[k] ? a.data[k] + b.data[k] : a.data[k] * wa + b.data[k] * wb;
    }

    void Compact(int count) {
        int lo = 0;
        int hi = count - 1;
        for (;;) {
            while (lo < count && !Gone(lo)) ++lo;
            while (hi >= 0 && Gone(hi)) --hi;
            if (lo >= hi) return;
            std::swap(R(lo), R(hi));
            Gone(lo) = 0;
            Gone(hi) = 1;
        }
    }

    void Refit(Node& node) {
        for (int axis = 0; axis < 3; ++axis) {
            node.low[axis] = 1e30f;
            node.high[axis] = -1e30f;
        }
        node.is_empty = true;
        const auto include = [&](const float* low, const float* high) {
            for (int axis = 0; axis < 3; ++axis) {
                node.low[axis] = std::min(node.low[axis], low[axis]);
                node.high[axis] = std::max(node.high[axis], high[axis]);
            }
            node.is_empty = false;
        };
        if (node.is_leaf) {
            for (int i = node.first; i < node.first + node.count; ++i)
                if (!Gone(i)) include(R(i).head.position, R(i).head.position);
            return;
        }
        for (auto& child : node.children) {
            if (!child) continue;
            Refit(*child);
            if (!child->is_empty) include(child->low, child->high);
        }
    }

    std::span<PointRecord> records_;
    std::span<std::uint8_t> removed_;
    const SimplifySettings& settings_;
    const Projection& projection_;
    int record_count_ = 0;
    int query_ = 0;
    float best_ = 0;
    int partner_ = -1;
};

inline void Simplify(std::span<PointRecord> records, std::span<std::uint8_t> removed,
                     const SimplifySettings& settings, const Projection& projection) {
    Run(records, removed, settings, projection).Simplify();
}

}  // namespace plain_simplify
