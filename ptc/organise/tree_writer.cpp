// Cutting batches into slices that end where leaves do, and joining their leaves to nodes.

#include "ptc/organise/tree_writer.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kAhead = 12;  // records that are on their way from memory

/// The batch's points in slices: all begin where a leaf does.
class Slicing {
public:
    /// `end`: where the last leaf ends. `known`: behind it no leaf can be found from within.
    Slicing(const LeafCutter& cutter, std::size_t slice, std::size_t known, std::size_t end)
        : cutter_(cutter), slice_(slice), count_((known + slice - 1) / slice), end_(end) {}

    std::size_t Count() const { return count_; }
    std::size_t Begin(std::size_t index) const {
        if (index == 0) return 0;
        return index >= count_ ? end_ : cutter_.EndAround(index * slice_ - 1);
    }

private:
    const LeafCutter& cutter_;
    const std::size_t slice_;
    const std::size_t count_;
    const std::size_t end_;
};

}  // namespace

TreeWriter::TreeWriter(OrganisedFile& file, Limits limits, const std::optional<LightChoice>& light,
                       WorkCrew& crew)
    : file_(file),
      limits_(limits),
      crew_(crew),
      record_bytes_(ptc_layout::PointBytes(file.PointVariables().DataFloats())),
      sums_(file.PointVariables(), light),
      nodes_(file, sums_),
      stack_(nodes_),
      slices_(crew.Threads()) {
    for (Slice& slice : slices_) slice.gathered.resize(limits.slice_points * record_bytes_);
}

std::size_t TreeWriter::Write(const BatchRoom& batch, std::size_t finite, Then then) {
    const std::size_t leaf = limits_.leaf_points;
    const LeafCutter cutter{batch.points, finite, leaf, last_code_};
    const bool is_end = then == Then::kEnd;
    std::size_t end = is_end ? finite : 0;
    if (!is_end && finite > leaf) end = cutter.EndAround(finite - leaf - 1);
    // Where more than `leaf` points follow, or the cloud ends.
    const std::size_t known = is_end ? end : std::min(end, finite - std::min(leaf, finite));
    // Not shorter than a leaf, which is walked over to find its end.
    const Slicing slicing(cutter, std::max(limits_.slice_points, leaf), known, end);
    // The leaf that goes on ends there so far. Slices behind it may be empty.
    const std::int64_t held_end =
        then == Then::kSameCode ? points_ + static_cast<std::int64_t>(end) : -1;

    crew_.Run(
        slicing.Count(),
        [&](std::size_t index, std::size_t worker) {
            WriteSlice(batch, cutter, slicing.Begin(index), slicing.Begin(index + 1),
                       slices_[worker]);
        },
        [&](std::size_t, std::size_t worker) { AddLeaves(slices_[worker], held_end); });
    if (end > 0) last_code_ = batch.points[end - 1].code;
    points_ += static_cast<std::int64_t>(end);
    finite_ = points_;

    Slice& slice = slices_.front();
    slice.next_point = points_;
    for (std::size_t i = finite; i < batch.count; ++i)
        Gather(batch.Record(batch.points[i].index), slice);
    WriteGathered(slice);
    points_ = slice.next_point;
    largest_radius_ = std::max(largest_radius_, slice.largest_radius);
    return end;
}

void TreeWriter::WriteSlice(const BatchRoom& batch, const LeafCutter& cutter, std::size_t begin,
                            std::size_t end, Slice& slice) {
    slice.leaves.clear();
    slice.sums.clear();
    slice.next_point = points_ + static_cast<std::int64_t>(begin);
    for (std::size_t at = begin; at < end;) {
        const std::size_t leaf_end = cutter.EndOf(at);
        slice.sums.resize(slice.sums.size() + sums_.Size());
        double* const sums = slice.sums.data() + slice.sums.size() - sums_.Size();
        sums_.Begin(sums);
        Leaf leaf;
        leaf.first = points_ + static_cast<std::int64_t>(at);
        leaf.count = static_cast<std::int64_t>(leaf_end - at);
        leaf.first_code = batch.points[at].code;
        leaf.last_code = batch.points[leaf_end - 1].code;
        PointBounds bounds;
        for (; at < leaf_end; ++at) {
            if (at + kAhead < end) {
                const std::byte* const ahead = batch.Record(batch.points[at + kAhead].index);
                __builtin_prefetch(ahead);
                __builtin_prefetch(ahead + record_bytes_ - 1);
            }
            const std::byte* const record = batch.Record(batch.points[at].index);
            Gather(record, slice);
            float position[3];
            std::memcpy(position, record, sizeof position);
            const float radius = CountedRadius(record);
            bounds.Include(position, radius);
            sums_.AddPoint(record, radius, sums);
        }
        leaf.box = bounds.Box();
        slice.leaves.push_back(leaf);
    }
    WriteGathered(slice);
    crew_.Progress().Add(static_cast<std::int64_t>(end - begin));
}

void TreeWriter::Gather(const std::byte* record, Slice& slice) {
    std::memcpy(slice.gathered.data() + slice.fill, record, record_bytes_);
    slice.fill += record_bytes_;
    slice.largest_radius = std::max(slice.largest_radius, CountedRadius(record));
    if (slice.fill == slice.gathered.size()) WriteGathered(slice);
}

void TreeWriter::WriteGathered(Slice& slice) {
    file_.WritePoints(slice.next_point, {slice.gathered.data(), slice.fill});
    slice.next_point += static_cast<std::int64_t>(slice.fill / record_bytes_);
    slice.fill = 0;
}

/// `held_end`: where a leaf ends that Continue() adds to; -1: there is none.
void TreeWriter::AddLeaves(const Slice& slice, std::int64_t held_end) {
    largest_radius_ = std::max(largest_radius_, slice.largest_radius);
    const double* sums = slice.sums.data();
    for (const Leaf& leaf : slice.leaves) {
        if (leaf.first + leaf.count == held_end) {
            continued_ = leaf;
            continued_bounds_ = {};
            continued_sums_.assign(sums, sums + sums_.Size());
        } else {
            AddLeaf(leaf, sums);
        }
        sums += sums_.Size();
    }
}

void TreeWriter::AddLeaf(const Leaf& leaf, const double* sums) {
    stack_.Add(nodes_.Leaf(leaf.first, leaf.count, leaf.box, sums), leaf.first_code,
               leaf.last_code);
}

void TreeWriter::Continue(std::span<const std::byte> records) {
    for (std::size_t at = 0; at < records.size(); at += record_bytes_) {
        const std::byte* const record = &records[at];
        float position[3];
        std::memcpy(position, record, sizeof position);
        const float radius = CountedRadius(record);
        continued_bounds_.Include(position, radius);
        sums_.AddPoint(record, radius, continued_sums_.data());
        largest_radius_ = std::max(largest_radius_, radius);
    }
    const auto count = static_cast<std::int64_t>(records.size() / record_bytes_);
    file_.WritePoints(points_, records);
    continued_.count += count;
    points_ += count;
    finite_ = points_;
    crew_.Progress().Add(count);
    crew_.Progress().Tell();
}

void TreeWriter::EndContinued() {
    continued_.box.Include(continued_bounds_.Box());
    AddLeaf(continued_, continued_sums_.data());
}

void TreeWriter::WriteNowhere(std::span<const std::byte> records) {
    for (std::size_t at = 0; at < records.size(); at += record_bytes_)
        largest_radius_ = std::max(largest_radius_, CountedRadius(&records[at]));
    file_.WritePoints(points_, records);
    points_ += static_cast<std::int64_t>(records.size() / record_bytes_);
    crew_.Progress().Add(static_cast<std::int64_t>(records.size() / record_bytes_));
    crew_.Progress().Tell();
}

void TreeWriter::Finish() {
    stack_.Finish();
    nodes_.Flush();
}
