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

#include "driver/simplify.h"

namespace plain_simplify {

struct Node {
    int first = 0;
    int count = 0;
    float low[3] = {};
    float high[3] = {};
    bool is_empty = false;
    bool is_leaf = true;
    std::unique_ptr<Node> children[8];

    int End() const { return first + count; }

    void Include(const float* other_low, const float* other_high) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], other_low[axis]);
            high[axis] = std::max(high[axis], other_high[axis]);
        }
    }
    void Clear() {
        std::fill_n(low, 3, 1e30f);
        std::fill_n(high, 3, -1e30f);
    }
};

class Run {
public:
    Run(std::span<PointRecord> records, std::span<std::uint8_t> removed,
        const SimplifySettings& settings, const Projection& projection)
        : records_(records.data()),
          gone_(removed.data()),
          settings_(settings),
          projection_(projection) {
        int remaining = static_cast<int>(records.size());
        auto root = Built(0, remaining);
        for (;;) {
            record_count_ = root->count;
            const int merged = Pass(*root);
            remaining -= merged;
            if (merged < 1) return;
            if (static_cast<float>(root->count) * 0.2f > static_cast<float>(remaining)) {
                Compact(root->count);
                root = Built(0, remaining);
            } else {
                Refit(*root);
            }
        }
    }

private:
    static int Octant(const float* c, const float* p) {
        return (c[0] <= p[0]) + 2 * (c[1] <= p[1]) + 4 * (c[2] <= p[2]);
    }

    std::unique_ptr<Node> Built(int first, int count) {
        auto node = std::make_unique<Node>();
        node->first = first;
        node->count = count;
        node->Clear();
        float radius = 0;
        for (int i = first; i < node->End(); ++i) {
            radius = std::max(radius, records_[i].head.radius);
            node->Include(records_[i].head.position, records_[i].head.position);
        }
        float low[3], high[3], center[3];
        for (int a = 0; a < 3; ++a) {
            low[a] = std::exchange(node->low[a], node->low[a] - radius);
            high[a] = std::exchange(node->high[a], node->high[a] + radius);
            center[a] = (node->low[a] + node->high[a]) * 0.5f;
        }
        node->is_leaf = count <= 16 || Octant(center, low) == Octant(center, high);
        int counts[8] = {};
        for (int i = first; i < node->End(); ++i)
            ++counts[Octant(center, records_[i].head.position)];
        // Positions that are no numbers are never told apart.
        node->is_leaf |= std::find(counts, counts + 8, count) != counts + 8;
        if (node->is_leaf) return node;
        for (int o = 0, start = first; o < 8; start += counts[o++])
            for (int lo = start, hi = node->End() - 1; o < 7 && lo < hi;) {
                if (Octant(center, records_[lo].head.position) == o) {
                    ++lo;
                } else if (Octant(center, records_[hi].head.position) != o) {
                    --hi;
                } else {
                    std::swap(records_[lo], records_[hi]);
                }
            }
        for (int o = 0, start = first; o < 8; start += counts[o++])
            if (counts[o]) node->children[o] = Built(start, counts[o]);
        return node;
    }

    int Pass(Node& root) {
        int merged = 0;
        for (query_ = 0; query_ < record_count_; ++query_) {
            if (gone_[query_]) continue;
            best_ = settings_.max_distance * settings_.max_distance * 1.002f;
            partner_ = -1;
            Search(root);
            if (partner_ < 0) continue;
            Merge(records_[query_], records_[partner_]);
            gone_[partner_] = 1;
            ++merged;
        }
        return merged;
    }

    void Search(Node& node) {
        if (query_ >= node.End() || node.first >= record_count_) return;
        if (!node.is_leaf) {
            for (auto& child : node.children)
                if (child && !child->is_empty && BoxDistance(*child) < best_) Search(*child);
            return;
        }
        const int begin = std::max(query_ + 1, node.first);
        const int end = std::min(node.End(), record_count_);
        bool saw_any = false;
        for (int j = begin; j < end; ++j) {
            if (gone_[j]) continue;
            saw_any = true;
            const float d = Distance(records_[query_], records_[j]);
            if (d <= best_ * 0.999f && IsAlike(records_[query_], records_[j])) {
                best_ = d;
                partner_ = j;
            }
        }
        if (begin == node.first && end == node.End()) node.is_empty = !saw_any;
    }

    float Raster(float squared, float depth) const {
        const auto& m = projection_.world_to_ndc;
        const float d =
            std::sqrt(squared) * m[0] / (depth * m[11] + m[15]) * (projection_.format[0] * 0.5f);
        return d * d;
    }

    float Distance(const PointRecord& a, const PointRecord& b) const {
        const float *const p = a.head.position, *const q = b.head.position;
        float squared = 0;
        for (int axis = 0; axis < 3; ++axis) squared += (p[axis] - q[axis]) * (p[axis] - q[axis]);
        return settings_.is_raster_space ? Raster(squared, (p[2] + q[2]) * 0.5f) : squared;
    }

    float BoxDistance(const Node& node) const {
        const float* const p = records_[query_].head.position;
        float squared = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float d = std::max({0.0f, node.low[axis] - p[axis], p[axis] - node.high[axis]});
            squared += d * d;
        }
        return settings_.is_raster_space && squared != 0 ? Raster(squared, p[2]) : squared;
    }

    bool IsAlike(const PointRecord& a, const PointRecord& b) const {
        const float *const n = a.head.normal, *const m = b.head.normal;
        if (!(n[0] * m[0] + n[1] * m[1] + n[2] * m[2] >= settings_.min_dot)) return false;
        if (settings_.max_difference < 0 || settings_.max_difference >= 1e15f) return true;
        for (std::size_t k = 0; k < settings_.area_flags.size(); ++k)
            if (!settings_.area_flags[k] &&
                std::fabs(a.data[k] - b.data[k]) > settings_.max_difference)
                return false;
        return true;
    }

    void Merge(PointRecord& a, const PointRecord& b) const {
        const float sum = a.head.radius + b.head.radius;
        const float wa = a.head.radius / sum, wb = b.head.radius / sum;
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
        for (int lo = 0, hi = count - 1;;) {
            while (lo < count && !gone_[lo]) ++lo;
            while (hi >= 0 && gone_[hi]) --hi;
            if (lo >= hi) return;
            std::swap(records_[lo], records_[hi]);
            std::swap(gone_[lo], gone_[hi]);
        }
    }

    void Refit(Node& node) {
        node.Clear();
        node.is_empty = true;
        for (int i = node.first; node.is_leaf && i < node.End(); ++i) {
            if (gone_[i]) continue;
            node.Include(records_[i].head.position, records_[i].head.position);
            node.is_empty = false;
        }
        for (auto& child : node.children) {
            if (!child) continue;
            Refit(*child);
            if (child->is_empty) continue;
            node.Include(child->low, child->high);
            node.is_empty = false;
        }
    }

    PointRecord* const records_;
    std::uint8_t* const gone_;
    const SimplifySettings& settings_;
    const Projection& projection_;
    int record_count_ = 0;
    int query_ = 0;
    float best_ = 0;
    int partner_ = -1;
};

}  // namespace plain_simplify
