// PointDifferences: what differs between the points of pairs, channel by channel.
//
// Units      differences in the unit of the channel, of normals in degrees.
// Errors     std::bad_alloc.
// Ownership  owns its figures; borrows records for a call.
// Threads    one caller at a time.
//
// Every figure is the same in whatever order the pairs come: sums are exact, and of equal
// differences that of the first point counts.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "tools/ptc/diff/diff_channels.h"
#include "tools/ptc/diff/diff_limits.h"
#include "util/math/exact_sum.h"

/// Indexes of the two points of a pair, each in its own cloud.
struct PairIndexes {
    std::int64_t a;
    std::int64_t b;

    auto operator<=>(const PairIndexes&) const = default;
};

/// Records of the two clouds side by side.
struct PairedRecords {
    const std::byte* a;
    const std::byte* b;
    std::span<const PairIndexes> indexes;  ///< one for each pair
};

/// One pair, and what its points have in a channel: a normal has three values, all else one.
struct PairValues {
    PairIndexes indexes{};
    std::array<float, 3> a{};
    std::array<float, 3> b{};
};

struct ChannelDifferences {
    std::int64_t differ = 0;            ///< pairs beyond the limits, the incomparable ones included
    std::int64_t incomparable = 0;      ///< different, but one is NaN, infinite or no normal
    double largest = 0;                 ///< of all comparable ones
    PairValues worst;                   ///< the pair that has it; of use while `largest` is above 0
    PairValues first_incomparable;      ///< of use while there is one
    std::unique_ptr<ExactSum> squares;  ///< of the comparable ones; null: all are 0

    bool AreNone() const { return largest == 0 && incomparable == 0; }
};

class PointDifferences {
public:
    /// `bytes_a`, `bytes_b`: of one record.
    PointDifferences(std::vector<DiffChannel> channels, const DiffLimits& limits,
                     std::size_t bytes_a, std::size_t bytes_b);

    void Add(const PairedRecords& pairs);

    /// Adds pairs of which all channels are known to be the same.
    void AddSame(std::int64_t count) { pairs_ += count; }

    /// Whether points whose records have the same bytes are the same in all channels.
    bool SameBytesAreSame() const { return same_bytes_are_same_; }

    std::size_t BytesA() const { return bytes_a_; }
    std::size_t BytesB() const { return bytes_b_; }
    std::int64_t Pairs() const { return pairs_; }
    std::int64_t DifferentPairs() const { return different_pairs_; }  ///< in any channel
    const std::vector<DiffChannel>& Channels() const { return channels_; }
    const ChannelDifferences& Of(std::size_t channel) const { return differences_[channel]; }

    /// The root of the mean square of the comparable differences; nothing when there is none.
    std::optional<double> RootMeanSquare(std::size_t channel) const;

private:
    void AddFloats(std::size_t channel, const PairedRecords& pairs);
    void AddNormals(std::size_t channel, const PairedRecords& pairs);
    bool AddDifference(double difference, const PairValues& values, ChannelDifferences* to);

    const std::vector<DiffChannel> channels_;
    const DiffLimits limits_;
    const std::size_t bytes_a_;
    const std::size_t bytes_b_;
    const bool same_bytes_are_same_;
    std::vector<ChannelDifferences> differences_;
    std::vector<std::uint8_t> differs_;  ///< of the pairs at hand: 1 where a channel does
    std::int64_t pairs_ = 0;
    std::int64_t different_pairs_ = 0;
};
