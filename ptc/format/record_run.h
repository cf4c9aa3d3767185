// Runs of points from a caller's memory to records of the binary form.
//
// In passes over 64 points each: their bounds, the codes of their normals, and the records. One
// pass that does all takes longer, because the parts of a code that are stored one by one would be
// loaded again as a vector.
//
// Units      strides and sizes in bytes.
// Errors     none.
// Ownership  borrows everything.
// Threads    one caller at a time for one run.

#pragma once

#include <cstddef>
#include <cstring>

#include "ptc/format/point_lanes.h"
#include "ptc/format/record_code.h"
#include "ptc/format/run_bounds.h"

/// Points that lie `stride` bytes apart, at any alignment.
struct GivenPoints {
    const std::byte* heads;  ///< of each point, a PointHead or the head of its record
    bool are_records;        ///< the normals are codes already
    const std::byte* data;
    std::size_t data_bytes;  ///< of each that may be read
    std::size_t count;
    std::size_t stride;

    /// The first of them. The normal of a record is a code already, and is zero here.
    PointHead Head() const {
        PointHead head;
        if (!are_records) {
            std::memcpy(&head, heads, sizeof head);
            return head;
        }
        std::memcpy(head.position, heads + Find(ptc_layout::kPoint, "position").offset,
                    sizeof head.position);
        std::memset(head.normal, 0, sizeof head.normal);
        std::memcpy(&head.radius, heads + Find(ptc_layout::kPoint, "radius").offset,
                    sizeof head.radius);
        return head;
    }

    /// The code of the first one, whose head is `head`.
    NormalCode Code(const PointHead& head) const {
        if (!are_records) return EncodeNormal(head.normal[0], head.normal[1], head.normal[2]);
        NormalCode code;
        std::memcpy(&code.azimuth, heads + Find(ptc_layout::kPoint, "azimuth").offset,
                    sizeof code.azimuth);
        std::memcpy(&code.height, heads + Find(ptc_layout::kPoint, "height").offset,
                    sizeof code.height);
        return code;
    }

    /// Data of the first one for a record of `wanted` bytes.
    PointData Data(std::size_t wanted) const { return {data, data_bytes, wanted}; }

    void Advance(std::size_t points) {
        heads += points * stride;
        data += points * stride;
        count -= points;
    }
};

/// Of fewer points, the passes take longer than one point after the other.
inline constexpr std::size_t kFewPoints = 4;

/// Writes the points as records with `data_bytes` of data each, as far as the points have them and
/// zeros behind, and includes them in `bounds`. A point with a negative radius is refused: it is
/// left out. Returns the end of the records.
std::byte* EncodeRecords(GivenPoints points, std::size_t data_bytes, const PointLanes& lanes,
                         RunBounds* bounds, std::byte* out);
