// The points of a cloud in memory, sorted by place: points of one place are neighbours.
//
// Units      none.
// Errors     std::bad_alloc.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/ptc/diff/diff_channels.h"

/// Where a point is, as whole numbers that are equal for what counts as the same: 0 and -0 are, and
/// all NaNs.
struct PlaceKey {
    std::array<std::uint32_t, kPlaceChannels> axes;

    auto operator<=>(const PlaceKey&) const = default;
};

struct PlacedPoint {
    PlaceKey place;
    std::uint32_t index;

    auto operator<=>(const PlacedPoint&) const = default;
};

/// What a point takes in memory beside its record.
inline constexpr std::size_t kBytesPerPlacedPoint = sizeof(PlacedPoint) + 1;

/// All points of `records`, `bytes` each, by place, then by index.
std::vector<PlacedPoint> SortByPlace(std::span<const std::byte> records, std::size_t bytes);

/// One of the two clouds, whose records have the channels in places of their own.
struct ValueSide {
    const std::byte* records;
    std::size_t bytes;
    std::size_t DiffChannel::*place;

    const std::byte* Record(std::uint32_t index) const { return records + index * bytes; }
};

/// Compares two points by all channels but the place, in their order: numbers from the least to the
/// greatest and NaN last, normals by their codes.
std::weak_ordering CompareValues(std::span<const DiffChannel> channels, const ValueSide& left,
                                 std::uint32_t left_index, const ValueSide& right,
                                 std::uint32_t right_index);
