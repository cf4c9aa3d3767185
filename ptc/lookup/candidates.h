// Candidates: the nearest points found so far, at most as many as are wanted.
//
// Units      squared distances in world space.
// Errors     throws std::bad_alloc when more are wanted than ever before.
// Ownership  owns what it holds; the memory stays for the next search.
// Threads    one caller at a time.
//
// Few are kept sorted, many as a heap: an insertion moves eight faster than a heap sifts them.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

/// A point that a search has found. No octree counts more points than 32 bits do.
struct Candidate {
    float squared_distance;
    std::int32_t file;
    std::int32_t index;  ///< of the point in its file
    std::int32_t place;  ///< of the point in its tree; the index where the file has the tree

    bool operator<(const Candidate& other) const {
        if (squared_distance < other.squared_distance) return true;
        if (squared_distance > other.squared_distance) return false;
        return file != other.file ? file < other.file : index < other.index;
    }
};

class Candidates {
public:
    /// Begins a search for the nearest `most` points, at most that far away.
    void Begin(std::int32_t most, float squared_distance) {
        most_ = static_cast<std::size_t>(most);
        if (held_.size() < most_) held_.resize(most_);
        count_ = 0;
        last_ = {squared_distance, std::numeric_limits<std::int32_t>::max(), 0, 0};
    }

    /// No point that is farther away is wanted.
    float SquaredDistance() const { return last_.squared_distance; }

    /// Whether a point of `file`, with `index` or a greater one, that far away could be wanted.
    bool Wants(float squared_distance, std::int32_t file, std::int32_t index) const {
        return Candidate{squared_distance, file, index, 0} < last_;
    }

    /// Caller: it is wanted.
    void Add(const Candidate& candidate) {
        if (most_ > kSorted) {
            AddToHeap(candidate);
        } else {
            Candidate* const held = held_.data();
            std::size_t at = count_ < most_ ? count_++ : count_ - 1;
            for (; at > 0 && !(held[at - 1] < candidate); --at) held[at] = held[at - 1];
            held[at] = candidate;
            if (count_ == most_) last_ = held[count_ - 1];
        }
    }

    /// All of them, the nearest first. Nothing is added afterwards.
    std::span<Candidate> Sorted() {
        const auto held = std::span(held_).first(count_);
        if (most_ > kSorted) std::sort_heap(held.begin(), held.end());
        return held;
    }

private:
    static constexpr std::size_t kSorted = 32;

    void AddToHeap(const Candidate& candidate) {
        const auto begin = held_.begin();
        if (count_ == most_) {
            std::pop_heap(begin, begin + static_cast<std::ptrdiff_t>(count_));
            --count_;
        }
        held_[count_++] = candidate;
        std::push_heap(begin, begin + static_cast<std::ptrdiff_t>(count_));
        if (count_ == most_) last_ = held_.front();
    }

    std::size_t most_ = 0;
    std::size_t count_ = 0;
    std::vector<Candidate> held_;
    Candidate last_{};  ///< what is wanted comes before it
};
