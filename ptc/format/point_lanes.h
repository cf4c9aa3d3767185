// Loops over the heads of many points, in the widest instructions that the processor has.
//
// The results are the same with any instructions, to the bit: every lane has the operations of one
// point in the same order.
//
// Units      strides in bytes.
// Errors     none.
// Ownership  borrows everything.
// Threads    any.

#pragma once

#include <cstddef>

#include "ptc/format/normal_code.h"

/// Points that lie `stride` bytes apart, at any alignment: of each the position, and somewhere
/// behind it the radius with at least three more floats between the position's first and itself.
struct HeadRun {
    const std::byte* first;
    std::size_t count;
    std::size_t stride;
    std::size_t radius;  ///< its offset from the position; at least 12
};

/// Most points of one run: few enough that they are still in the nearest cache when their records
/// are put together.
inline constexpr std::size_t kMaxRun = 64;

/// Codes of a run. Those behind the last point may be overwritten.
using NormalCodes = NormalCode[kMaxRun];

/// Boxes and the largest radius, each bound of several lanes.
struct alignas(32) LaneBounds {
    static constexpr std::size_t kMaxLanes = 8;
    enum Bound : std::size_t {
        kSphereMin,
        kSphereMax = 3,
        kMin = 6,
        kMax = 9,
        kRadius = 12,
        kCount
    };

    float bounds[kCount][kMaxLanes];
};

/// The loops for one kind of processor.
struct PointLanes {
    /// Stores the code of each normal; it lies behind the position and before the radius.
    void (*encode_normals)(const HeadRun& heads, NormalCodes& codes);

    /// Includes the positions, and the spheres whose radius is not negative. The sign of a bound
    /// that is zero is unspecified.
    void (*include)(const HeadRun& heads, LaneBounds* bounds);
};

extern const PointLanes kFourLanes;   ///< for every processor that the system runs on
extern const PointLanes kEightLanes;  ///< for processors with AVX2 only

/// The fastest for this processor.
const PointLanes& BestPointLanes();
