// One delivered batch: samples of equal size, one after another in the host's memory.

#pragma once

#include <cstddef>
#include <cstring>

#include "ptc/format/record_code.h"

/// The host's samples. They are not copied, and may be unaligned. Borrowed for one call.
struct Batch {
    static constexpr std::size_t kHeadFloats = sizeof(PointHead) / sizeof(float);

    const std::byte* samples;
    std::size_t count;   ///< at least 1
    std::size_t floats;  ///< of one sample; at least kHeadFloats

    std::size_t Stride() const { return floats * sizeof(float); }
    std::size_t DataFloats() const { return floats - kHeadFloats; }

    PointHead Head(std::size_t index) const {
        PointHead head;
        std::memcpy(&head, samples + index * Stride(), sizeof head);
        return head;
    }

    /// Data of sample `index` for a row of `wanted` floats.
    PointData Data(std::size_t index, std::size_t wanted) const {
        return {samples + index * Stride() + sizeof(PointHead), DataFloats() * sizeof(float),
                wanted * sizeof(float)};
    }
};
