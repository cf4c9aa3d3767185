// What a lookup must answer, found by going through all points of all files.

#pragma once

#include <compare>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ptc/format/record_code.h"
#include "ptc/lookup.h"

/// A point that was found.
struct PlainFound {
    float squared_distance;
    std::int32_t file;
    std::int64_t index;

    auto operator<=>(const PlainFound&) const = default;
};

/// Points of files, read one after the other by a reader that knows no caches.
class PlainLookup {
public:
    /// An empty name stands for a file that is left out.
    PlainLookup(const std::vector<std::string>& files, std::span<const char* const> variables);

    std::vector<PlainFound> Nearest(const PtcPlace& place, const PtcNearest& wanted) const;

    /// Sums of a filtered lookup: of weight times value and of its size, for each float of an
    /// answer, and of weights, for each variable.
    struct Sums {
        std::vector<double> values, sizes, weights;
    };
    Sums Sample(const PtcPlace& place, const PtcFilter& filter) const;

    std::size_t FileCount() const { return clouds_.size(); }
    std::span<const PointHead> Heads(std::size_t file) const { return clouds_[file].heads; }
    std::size_t FloatsPerPoint() const { return floats_; }
    std::size_t VariableCount() const { return sizes_.size(); }
    std::size_t VariableSize(std::size_t variable) const { return sizes_[variable]; }

    /// The floats of all variables for a point: zeros where its file has none.
    std::vector<float> Data(const PlainFound& point) const;

private:
    struct Cloud {
        std::vector<PointHead> heads;
        std::vector<float> data;
        std::size_t floats = 0;             ///< of one point
        std::vector<std::ptrdiff_t> begin;  ///< of each variable in a point's data; -1: none
    };

    void AddTo(Sums* sums, const Cloud& cloud, std::size_t point, double weight) const;

    std::vector<Cloud> clouds_;
    std::vector<std::size_t> sizes_;
    std::size_t floats_ = 0;
};

/// Places in arrays, as lookups of many take them.
struct ManyPlaces {
    std::vector<float> positions;
    std::vector<float> normals;  ///< empty: none

    std::size_t Count() const { return positions.size() / 3; }
    PtcPlace operator[](std::size_t i) const {
        return {&positions[3 * i], normals.empty() ? nullptr : &normals[3 * i]};
    }
    PtcPlaces All() const {
        return {static_cast<std::int64_t>(Count()), positions.data(),
                normals.empty() ? nullptr : normals.data()};
    }
};

/// How what `lookup` finds differs from what `plain` finds, in the first place where it does;
/// empty: it is the same, to the bit. Asks for each place alone when `one_by_one`, else for all at
/// once. Bit i of `unwanted` leaves out array i of PtcNearestArrays.
std::string DifferenceOfNearest(const PtcLookup& lookup, const PlainLookup& plain,
                                const ManyPlaces& places, const PtcNearest& wanted,
                                bool one_by_one = true, unsigned unwanted = 0);

/// The same for filtered values, but with a tolerance of some roundings: the order of the points of
/// an octree in memory is unknown, and so is that of the sums.
std::string DifferenceOfSamples(const PtcLookup& lookup, const PlainLookup& plain,
                                const ManyPlaces& places, const PtcFilter& filter,
                                bool one_by_one = true);
