// One point record from its values to its bytes.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "ptc/layout.h"
#include "ptc/normal_code.h"

/// The fixed values of one point, in the order in which a host delivers them.
struct PointHead {
    float position[3];
    float normal[3];
    float radius;
};
static_assert(sizeof(PointHead) == 28);

/// Data bytes of one point: `have` of them are there to be read, the record takes `want`.
/// What is not there reads as zero.
struct PointData {
    const std::byte* bytes;
    std::size_t have;
    std::size_t want;

    void CopyTo(std::byte* out) const {
        const std::size_t both = std::min(have, want);
        if (both) std::memcpy(out, bytes, both);
        if (want > both) std::memset(out + both, 0, want - both);
    }
};

/// Writes one record of ptc_layout::kPointHeadBytes + `data.want` bytes to `out`.
inline void EncodePoint(const PointHead& head, const PointData& data, std::byte* out) {
    using namespace ptc_layout;
    const NormalCode code = EncodeNormal(head.normal[0], head.normal[1], head.normal[2]);
    std::memcpy(out + Find(kPoint, "position").offset, head.position, sizeof head.position);
    std::memcpy(out + Find(kPoint, "azimuth").offset, &code.azimuth, sizeof code.azimuth);
    std::memcpy(out + Find(kPoint, "height").offset, &code.height, sizeof code.height);
    std::memcpy(out + Find(kPoint, "radius").offset, &head.radius, sizeof head.radius);
    data.CopyTo(out + kPointHeadBytes);
}
