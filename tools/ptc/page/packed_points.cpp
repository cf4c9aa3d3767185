// Packing points into planes.

#include "tools/ptc/page/packed_points.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "tools/ptc/page/half.h"

namespace page {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are stored as they are");

/// The share of the way from `low` to `high`, of 65535.
std::uint16_t ShareOf(float value, float low, float high) {
    constexpr double kMost = 65535;
    const double extent = double{high} - low;
    const double share = extent > 0 ? (double{value} - low) / extent * kMost + 0.5 : 0;
    return static_cast<std::uint16_t>(share > 0 ? std::min(share, kMost) : 0.0);
}

class Packer {
public:
    Packer(const CloudFacts& facts, std::size_t count)
        : facts_(facts), count_(count), bytes_(count * facts.BytesPerPoint()) {
        for (const ShownVariable& shown : facts.variables)
            for (std::size_t part = 0; part < shown.scales.size(); ++part)
                values_.push_back({shown.variable.offset + part, 1 / shown.scales[part]});
    }

    void Put(const PointPiece& piece, std::size_t i, const ChosenPoint& chosen) {
        const float* const position = piece.Position(i);
        for (std::size_t axis = 0; axis < 3; ++axis)
            PutNumber(3 * chosen.place + axis,
                      ShareOf(position[axis], facts_.box.min[axis], facts_.box.max[axis]));
        const NormalCode code = piece.Code(i);
        PutNumber(3 * count_ + 2 * chosen.place, code.azimuth);
        PutNumber(3 * count_ + 2 * chosen.place + 1, code.height);
        const float share = facts_.largest_radius > 0 ? piece.Radius(i) / facts_.largest_radius : 0;
        PutNumber(5 * count_ + chosen.place,
                  HalfOf(std::min(chosen.GrownRadius(share), kLargestHalf)));
        std::size_t plane = 6 * count_;
        for (const Value& value : values_) {
            // A power of two changes no digit, unless a value is far too small for a half float.
            const double scaled = piece.Data(i)[value.offset] * value.factor;
            PutNumber(plane + chosen.place, HalfOf(static_cast<float>(scaled)));
            plane += count_;
        }
    }

    std::vector<std::byte> Take() { return std::move(bytes_); }

private:
    struct Value {
        std::size_t offset;
        double factor;
    };

    void PutNumber(std::size_t index, std::uint16_t number) {
        std::memcpy(&bytes_[2 * index], &number, sizeof number);
    }

    const CloudFacts& facts_;
    const std::size_t count_;
    std::vector<std::byte> bytes_;
    std::vector<Value> values_;
};

}  // namespace

std::vector<std::byte> PackPoints(const CloudFacts& facts, const Chosen& chosen, PointPass& pass,
                                  Progress& progress, std::uint64_t done) {
    Packer packer(facts, chosen.points.size());
    auto next = chosen.points.begin();
    std::uint64_t first = 0;  // of the piece
    pass.Run(progress, done, [&](const PointPiece& piece) {
        const std::uint64_t end = first + piece.Count();
        for (; next != chosen.points.end() && next->number * chosen.step < end; ++next)
            packer.Put(piece, next->number * chosen.step - first, *next);
        first = end;
    });
    return packer.Take();
}

}  // namespace page
