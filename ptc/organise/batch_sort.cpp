// A first distribution by the highest differing bits, which threads share, then the parts.

#include "ptc/organise/batch_sort.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <vector>

namespace {

constexpr int kBits = 11;
constexpr std::size_t kNowhere = std::size_t{1} << kBits;  // the part behind all others

using Places = std::array<std::uint32_t, kNowhere + 1>;

/// What one thread takes of the records.
struct Share {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t finite = 0;
    std::uint64_t code = kCodeOfNowhere;  ///< any of its codes of places
    std::uint64_t differing = 0;          ///< the bits in which these are not all equal
    Places places{};
};

class BatchSort {
public:
    BatchSort(const BatchRoom& batch, WorkCrew& crew) : batch_(batch), crew_(crew) {
        shares_.resize(crew.Threads());
        for (std::size_t i = 0; i < shares_.size(); ++i) {
            shares_[i].begin = batch.count * i / shares_.size();
            shares_[i].end = batch.count * (i + 1) / shares_.size();
        }
    }

    std::size_t Sort(const OctreeCube& cube) {
        EachShare([&](Share& share) { Code(cube, share); });
        ChooseBits();
        EachShare([&](Share& share) { Count(share); });
        PlaceParts();
        EachShare([&](Share& share) { Distribute(share); });
        SortParts();
        std::size_t finite = 0;
        for (const Share& share : shares_) finite += share.finite;
        return finite;
    }

private:
    template <class Call>
    void EachShare(Call call) {
        crew_.Run(shares_.size(), [&](std::size_t i, std::size_t) { call(shares_[i]); });
    }

    void Code(const OctreeCube& cube, Share& share) const {
        std::uint64_t differing = 0;
        std::uint64_t some = kCodeOfNowhere;
        std::size_t finite = 0;
        for (std::size_t i = share.begin; i < share.end; ++i) {
            float position[3];
            std::memcpy(position, batch_.Record(i), sizeof position);
            const std::uint64_t code = cube.CodeOf(position);
            batch_.points[i] = {code, static_cast<std::uint32_t>(i)};
            if (code == kCodeOfNowhere) continue;
            if (finite++ == 0) some = code;
            differing |= code ^ some;
        }
        share.differing = differing;
        share.code = some;
        share.finite = finite;
    }

    void ChooseBits() {
        std::uint64_t some = kCodeOfNowhere;
        std::uint64_t differing = 0;
        for (const Share& share : shares_) {
            if (share.finite == 0) continue;
            if (some == kCodeOfNowhere) some = share.code;
            differing |= share.differing | (share.code ^ some);
        }
        shift_ = std::max(static_cast<int>(std::bit_width(differing)) - kBits, 0);
        base_ = some >> (shift_ + kBits) << (shift_ + kBits);
    }

    std::size_t Part(std::uint64_t code) const {
        return code == kCodeOfNowhere ? kNowhere : (code - base_) >> shift_;
    }

    void Count(Share& share) const {
        Places counts{};
        for (std::size_t i = share.begin; i < share.end; ++i) ++counts[Part(batch_.points[i].code)];
        share.places = counts;
    }

    /// Within a part the shares follow each other, so equal codes keep their order.
    void PlaceParts() {
        std::uint32_t place = 0;
        for (std::size_t part = 0; part <= kNowhere; ++part) {
            ends_[part] = place;
            for (Share& share : shares_) {
                const std::uint32_t count = share.places[part];
                share.places[part] = place;
                place += count;
            }
        }
        std::copy(ends_.begin() + 1, ends_.end(), ends_.begin());
        ends_[kNowhere] = place;
    }

    void Distribute(Share& share) const {
        Places places = share.places;
        for (std::size_t i = share.begin; i < share.end; ++i) {
            const CodedIndex point = batch_.points[i];
            batch_.scratch[places[Part(point.code)]++] = point;
        }
    }

    /// Sorts the parts in groups of similar size.
    void SortParts() {
        std::vector<std::size_t> groups{0};  // the first part of each, and the end
        const std::size_t wanted = batch_.count / (16 * crew_.Threads()) + 1;
        for (std::size_t part = 0; part <= kNowhere; ++part)
            if (ends_[part] - Begin(groups.back()) >= wanted || part == kNowhere)
                groups.push_back(part + 1);
        crew_.Run(groups.size() - 1, [&](std::size_t group, std::size_t) {
            for (std::size_t part = groups[group]; part < groups[group + 1]; ++part) {
                const std::size_t begin = Begin(part);
                const std::size_t count = ends_[part] - begin;
                if (count > 0)
                    SortByCodeInto({batch_.scratch + begin, count}, {batch_.points + begin, count});
            }
        });
    }

    std::size_t Begin(std::size_t part) const { return part == 0 ? 0 : ends_[part - 1]; }

    const BatchRoom& batch_;
    WorkCrew& crew_;
    std::vector<Share> shares_;
    int shift_ = 0;
    std::uint64_t base_ = 0;
    Places ends_{};
};

}  // namespace

std::size_t CodeAndSort(const BatchRoom& batch, const OctreeCube& cube, WorkCrew& crew) {
    return batch.count == 0 ? 0 : BatchSort(batch, crew).Sort(cube);
}
