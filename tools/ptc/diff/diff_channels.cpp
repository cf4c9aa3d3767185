// The channels of points that two clouds have in common.

#include "tools/ptc/diff/diff_channels.h"

#include "ptc/format/layout.h"

std::vector<DiffChannel> CommonChannels(const VariablePairs& variables) {
    using namespace ptc_layout;
    constexpr std::size_t kPosition = Find(kPoint, "position").offset;
    constexpr std::size_t kNormal = Find(kPoint, "azimuth").offset;
    constexpr std::size_t kRadius = Find(kPoint, "radius").offset;
    static_assert(Find(kPoint, "height").offset == kNormal + 2, "the two codes are read as one");

    std::vector<DiffChannel> channels;
    for (std::size_t axis = 0; axis < kPlaceChannels; ++axis) {
        const std::size_t place = kPosition + axis * sizeof(float);
        channels.push_back({std::string(1, kVectorParts[axis]), place, place});
    }
    channels.push_back({"normal", kNormal, kNormal, true});
    channels.push_back({"radius", kRadius, kRadius});
    for (const auto& [a, b] : variables.both) {
        if (a.size != b.size) continue;
        for (std::int32_t part = 0; part < a.size; ++part) {
            const auto index = static_cast<std::size_t>(part);
            channels.push_back({a.FloatName(part),
                                kPointHeadBytes + sizeof(float) * (a.offset + index),
                                kPointHeadBytes + sizeof(float) * (b.offset + index)});
        }
    }
    return channels;
}
