// One point or node record from its values to its bytes, and back.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "ptc/format/layout.h"
#include "ptc/format/normal_code.h"
#include "ptc/format/normal_decode.h"
#include "ptc/records.h"
#include "util/io/bytes.h"

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

/// Writes one record of ptc_layout::kPointHeadBytes + `data.want` bytes to `out`. The record holds
/// `code`, not that of `head.normal`.
inline void EncodePoint(const PointHead& head, NormalCode code, const PointData& data,
                        std::byte* out) {
    using namespace ptc_layout;
    std::memcpy(out + Find(kPoint, "position").offset, head.position, sizeof head.position);
    std::memcpy(out + Find(kPoint, "azimuth").offset, &code.azimuth, sizeof code.azimuth);
    std::memcpy(out + Find(kPoint, "height").offset, &code.height, sizeof code.height);
    std::memcpy(out + Find(kPoint, "radius").offset, &head.radius, sizeof head.radius);
    data.CopyTo(out + kPointHeadBytes);
}

/// Takes one record's values off `record`, which holds at least the record; `data` takes as many
/// floats as it has room for.
inline void DecodePoint(const std::byte* record, const NormalDecoder& normals, PointHead* head,
                        std::span<float> data) {
    using namespace ptc_layout;
    NormalCode code;
    std::memcpy(head->position, record + Find(kPoint, "position").offset, sizeof head->position);
    std::memcpy(&code.azimuth, record + Find(kPoint, "azimuth").offset, sizeof code.azimuth);
    std::memcpy(&code.height, record + Find(kPoint, "height").offset, sizeof code.height);
    std::memcpy(&head->radius, record + Find(kPoint, "radius").offset, sizeof head->radius);
    normals.Decode(code, head->normal);
    if (!data.empty()) std::memcpy(data.data(), record + kPointHeadBytes, data.size_bytes());
}

/// What readers of blocks get of a decoded point; its data has a place of its own.
inline void StoreHead(const PointHead& head, PtcPoint* record) {
    std::copy_n(head.position, 3, record->position);
    std::copy_n(head.normal, 3, record->normal);
    record->radius = head.radius;
}

/// One octree node as it is in the file.
struct NodeRecord {
    std::int32_t first_point = 0;
    std::int32_t point_count = 0;
    float box[6] = {};              ///< minimum x y z, maximum x y z
    std::uint8_t child_mask = 0;    ///< bit i: child i exists
    std::int64_t children[8] = {};  ///< offsets of the children's records; 0: none
};

/// Takes one node record off `cursor`; `data` takes the node's floats, all of them. False: the
/// bytes end within the record.
inline bool DecodeNode(ByteCursor& cursor, NodeRecord* node, std::span<float> data) {
    node->first_point = cursor.Take<std::int32_t>();
    node->point_count = cursor.Take<std::int32_t>();
    cursor.TakeInto(node->box, 6);
    cursor.TakeInto(data.data(), data.size());
    node->child_mask = cursor.Take<std::uint8_t>();
    for (unsigned i = 0; i < 8; ++i)
        node->children[i] = node->child_mask >> i & 1U ? cursor.Take<std::int64_t>() : 0;
    return cursor.Ok();
}
