// Normals from their codes.
//
// Units      codes as in ptc/format/normal_code.h.
// Ownership  half a megabyte of directions, made on first use, for the whole process.
// Threads    any.

#pragma once

#include <cmath>
#include <vector>

#include "ptc/format/normal_code.h"
#include "util/math/sine_cosine.h"

/// The normals of all codes. The directions of all azimuths are in a table. What the height gives
/// is computed: division and square root take less time than a second table takes cache.
///
/// Source: with the codes unsigned and all arithmetic in single precision, h = height / 65535,
/// z = (h - 1) + h, s = sqrt(1 - z^2), phi = (azimuth / 65535 - 0.5) * 6.2831855, and the normal is
/// (cos(phi) s, sin(phi) s, z).
class NormalDecoder {
public:
    NormalDecoder();

    void Decode(NormalCode code, float* normal) const {
        if (code == kNoNormal) {
            normal[0] = normal[1] = normal[2] = 0;
            return;
        }
        const sine_cosine::Pair& direction = directions_[code.azimuth];
        const float share = static_cast<float>(code.height) / 65535.0f;
        const float z = (share - 1.0f) + share;
        const float width = std::sqrt(1.0f - z * z);
        normal[0] = direction.cosine * width;
        normal[1] = direction.sine * width;
        normal[2] = z;
    }

    /// Of an azimuth, in the plane of x and y.
    const sine_cosine::Pair& Direction(std::uint16_t azimuth) const { return directions_[azimuth]; }

private:
    std::vector<sine_cosine::Pair> directions_;
};

/// The process's decoder.
const NormalDecoder& Normals();
