// Points compared by place: reading, pairs in the same place, pairs of neighbours.

#include "tools/ptc/diff/unordered_diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "ptc/lookup.h"
#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"
#include "tools/common/progress.h"
#include "tools/ptc/diff/place_order.h"

namespace {

constexpr std::size_t kBatch = 1024;  // pairs, or places that are looked up, at a time

void RefuseTooMuch(const DiffInput& a, const DiffInput& b, std::int64_t memory) {
    double wanted = 0;
    for (const DiffInput* const input : {&a, &b}) {
        const std::int64_t points = input->Cloud().point_count;
        if (points > std::numeric_limits<std::uint32_t>::max())
            throw Failure(
                fmt::format("{}: has too many points for --unordered", input->File().Name()));
        wanted += static_cast<double>(points) *
                  static_cast<double>(input->RecordBytes() + kBytesPerPlacedPoint);
    }
    if (wanted <= static_cast<double>(memory)) return;
    throw Failure(fmt::format(
        "{}: --unordered keeps the points of both files in memory: {:.0f} bytes, --memory is {}",
        a.File().Name(), wanted, memory));
}

/// All points of one cloud.
struct KeptPoints {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t record;
    std::size_t count;

    std::span<const std::byte> All() const { return {bytes.get(), count * record}; }
    const std::byte* Record(std::size_t index) const { return bytes.get() + index * record; }
};

/// Not zeroed first: a file with fewer points than its header counts takes no more than it has.
KeptPoints ReadAll(DiffInput& input) {
    const std::size_t record = input.RecordBytes();
    const auto count = static_cast<std::size_t>(input.Cloud().point_count);
    KeptPoints kept{std::make_unique_for_overwrite<std::byte[]>(count * record), record, count};
    Progress progress(count, true);
    for (std::size_t first = 0; first < count; first += kBatch) {
        const std::size_t wanted = std::min(count - first, kBatch);
        input.Read({kept.bytes.get() + first * record, wanted * record});
        progress.Show(first);
    }
    return kept;
}

/// The median of the radii that are numbers, halved: within that two discs are almost one, while
/// neighbours of a surface are about two radii apart.
float HalfMedianRadius(const KeptPoints& points, std::size_t place) {
    std::vector<float> radii;
    radii.reserve(points.count);
    for (std::size_t i = 0; i < points.count; ++i) {
        const float radius = FloatAt(points.Record(i), place);
        if (radius >= 0 && std::isfinite(radius)) radii.push_back(radius);
    }
    if (radii.empty()) return 0;
    const auto middle = radii.begin() + static_cast<std::ptrdiff_t>((radii.size() - 1) / 2);
    std::nth_element(radii.begin(), middle, radii.end());
    return *middle / 2;
}

/// Pairs on their way to the comparison, and which points of the second cloud they have.
class PairBatch {
public:
    PairBatch(const KeptPoints& a, const KeptPoints& b, PointDifferences* differences)
        : a_(a), b_(b), differences_(*differences), is_paired_(b.count) {}

    void Add(std::size_t a, std::size_t b) {
        is_paired_[b] = true;
        records_a_.insert(records_a_.end(), a_.Record(a), a_.Record(a) + a_.record);
        records_b_.insert(records_b_.end(), b_.Record(b), b_.Record(b) + b_.record);
        indexes_.push_back({static_cast<std::int64_t>(a), static_cast<std::int64_t>(b)});
        if (indexes_.size() == kBatch) Flush();
    }

    void Flush() {
        if (indexes_.empty()) return;
        differences_.Add({records_a_.data(), records_b_.data(), indexes_});
        records_a_.clear();
        records_b_.clear();
        indexes_.clear();
    }

    std::int64_t UnpairedB() const {
        return std::count(is_paired_.begin(), is_paired_.end(), false);
    }

private:
    const KeptPoints& a_;
    const KeptPoints& b_;
    PointDifferences& differences_;
    std::vector<bool> is_paired_;
    std::vector<std::byte> records_a_;
    std::vector<std::byte> records_b_;
    std::vector<PairIndexes> indexes_;
};

using Placed = std::span<PlacedPoint>;

/// Pairs the points of one place.
class PlacePairs {
public:
    PlacePairs(std::span<const DiffChannel> channels, const KeptPoints& a, const KeptPoints& b,
               PairBatch* pairs)
        : channels_(channels),
          side_a_{a.bytes.get(), a.record, &DiffChannel::in_a},
          side_b_{b.bytes.get(), b.record, &DiffChannel::in_b},
          pairs_(*pairs) {}

    /// Reorders both.
    void Pair(Placed a, Placed b) {
        if (a.size() == 1 && b.size() == 1) return pairs_.Add(a[0].index, b[0].index);
        Sort(side_a_, a);
        Sort(side_b_, b);
        PairSame(a, b);
        std::size_t next = 0;
        for (; next < left_a_.size() && next < left_b_.size(); ++next)
            pairs_.Add(left_a_[next], left_b_[next]);
        for (; next < left_a_.size(); ++next) pairs_.Add(left_a_[next], Likest(left_a_[next], b));
    }

private:
    void Sort(const ValueSide& side, Placed points) const {
        std::sort(points.begin(), points.end(), [&](const PlacedPoint& x, const PlacedPoint& y) {
            const auto order = CompareValues(channels_, side, x.index, side, y.index);
            return order < 0 || (order == 0 && x.index < y.index);
        });
    }

    /// Pairs those that are the same in all channels; the others are left, in their order.
    void PairSame(Placed a, Placed b) {
        left_a_.clear();
        left_b_.clear();
        std::size_t i = 0;
        std::size_t j = 0;
        while (i < a.size() || j < b.size()) {
            const auto order = i == a.size()   ? std::weak_ordering::greater
                               : j == b.size() ? std::weak_ordering::less
                                               : CompareValues(channels_, side_a_, a[i].index,
                                                               side_b_, b[j].index);
            if (order == 0)
                pairs_.Add(a[i++].index, b[j++].index);
            else if (order < 0)
                left_a_.push_back(a[i++].index);
            else
                left_b_.push_back(b[j++].index);
        }
    }

    /// The first of `b` that is the same as point `a` in all channels, or the first one.
    std::uint32_t Likest(std::uint32_t a, Placed b) const {
        const auto found = std::partition_point(b.begin(), b.end(), [&](const PlacedPoint& point) {
            return CompareValues(channels_, side_b_, point.index, side_a_, a) < 0;
        });
        const bool is_there =
            found != b.end() && CompareValues(channels_, side_b_, found->index, side_a_, a) == 0;
        return is_there ? found->index : b.front().index;
    }

    const std::span<const DiffChannel> channels_;
    const ValueSide side_a_;
    const ValueSide side_b_;
    PairBatch& pairs_;
    std::vector<std::uint32_t> left_a_;  ///< of the place at hand
    std::vector<std::uint32_t> left_b_;
};

/// The points at the front of `points` that share its first one's place.
Placed FirstPlace(Placed points) {
    const auto end = std::find_if(points.begin(), points.end(), [&](const PlacedPoint& point) {
        return point.place != points.front().place;
    });
    return points.first(static_cast<std::size_t>(end - points.begin()));
}

/// Pairs the points of all places that both have. The answer: how many of `a` are in other places;
/// these are moved to its front.
std::size_t PairSamePlaces(Placed a, Placed b, PlacePairs* places) {
    std::size_t left = 0;
    Progress progress(a.size(), true);
    for (Placed rest = a; !rest.empty();) {
        while (!b.empty() && b.front().place < rest.front().place) b = b.subspan(1);
        const Placed here = FirstPlace(rest);
        if (!b.empty() && b.front().place == here.front().place) {
            const Placed there = FirstPlace(b);
            b = b.subspan(there.size());
            places->Pair(here, there);
        } else {
            for (const PlacedPoint& point : here) a[left++] = point;
        }
        rest = rest.subspan(here.size());
        progress.Show(a.size() - rest.size());
    }
    return left;
}

/// Pairs points with their nearest ones of `b`. The answer: how many have none near enough.
std::int64_t PairNeighbours(Placed points, const KeptPoints& a, const KeptPoints& b, float within,
                            const InputFile& file, PairBatch* pairs) {
    const LibraryShutdown at_end;
    const PtcFile open = OpenThroughCaches(file);
    PtcManagedFile* const handle = open.Get();
    const PtcLookup lookup({.files = &handle, .file_count = 1});
    const auto fail = [&] { throw Failure(file.Name() + ": " + PtcLastFailure().what); };
    if (!lookup) fail();
    std::int64_t unpaired = 0;
    Progress progress(points.size(), true);
    std::vector<float> positions(3 * kBatch);
    std::vector<std::int64_t> indexes(kBatch);
    std::vector<std::int32_t> found(kBatch);
    for (std::size_t first = 0; first < points.size(); first += kBatch) {
        const Placed batch = points.subspan(first, std::min(kBatch, points.size() - first));
        for (std::size_t i = 0; i < batch.size(); ++i)
            std::memcpy(&positions[3 * i], a.Record(batch[i].index), 3 * sizeof(float));
        if (!lookup.NearestOfMany({static_cast<std::int64_t>(batch.size()), positions.data()},
                                  {.most = 1, .within = within}, {.indexes = indexes.data()},
                                  found.data()))
            fail();
        for (std::size_t i = 0; i < batch.size(); ++i) {
            if (found[i] == 0)
                ++unpaired;
            else if (static_cast<std::uint64_t>(indexes[i]) < b.count)
                pairs->Add(batch[i].index, static_cast<std::size_t>(indexes[i]));
            else
                throw Failure(file.Name() + ": changed while it was read");
        }
        progress.Show(first);
    }
    return unpaired;
}

}  // namespace

UnorderedCounts CompareByPlace(DiffInput& a, DiffInput& b, const UnorderedOptions& options,
                               PointDifferences* differences) {
    RefuseTooMuch(a, b, options.memory);
    const KeptPoints kept_a = ReadAll(a);
    const KeptPoints kept_b = ReadAll(b);
    const std::vector<DiffChannel>& channels = differences->Channels();
    UnorderedCounts counts;
    counts.within = options.within ? *options.within
                                   : HalfMedianRadius(kept_a, channels[kPlaceChannels + 1].in_a);

    PairBatch pairs(kept_a, kept_b, differences);
    PlacePairs places(channels, kept_a, kept_b, &pairs);
    std::vector<PlacedPoint> order_a = SortByPlace(kept_a.All(), kept_a.record);
    std::size_t left = 0;
    {
        std::vector<PlacedPoint> order_b = SortByPlace(kept_b.All(), kept_b.record);
        left = PairSamePlaces(order_a, order_b, &places);
    }
    counts.unpaired_a = static_cast<std::int64_t>(left);
    if (left > 0 && kept_b.count > 0 && counts.within > 0)
        counts.unpaired_a = PairNeighbours(std::span(order_a).first(left), kept_a, kept_b,
                                           counts.within, b.File(), &pairs);
    counts.moved = static_cast<std::int64_t>(left) - counts.unpaired_a;
    pairs.Flush();
    counts.unpaired_b = pairs.UnpairedB();
    return counts;
}
