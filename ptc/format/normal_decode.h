// Normals from their codes, by table.
//
// Units      codes as in ptc/format/normal_code.h.
// Ownership  one megabyte of tables, made on first use, for the whole process.
// Threads    any.

#pragma once

#include <vector>

#include "ptc/format/normal_code.h"
#include "util/math/sine_cosine.h"

/// The normals of all codes: azimuth and height are independent, so each has a table.
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
        const sine_cosine::Pair& direction = azimuths_[code.azimuth];
        const Height& height = heights_[code.height];
        normal[0] = direction.cosine * height.width;
        normal[1] = direction.sine * height.width;
        normal[2] = height.z;
    }

private:
    struct Height {
        float z, width;
    };
    std::vector<sine_cosine::Pair> azimuths_;
    std::vector<Height> heights_;
};

/// The process's decoder.
const NormalDecoder& Normals();
