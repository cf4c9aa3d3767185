// Point and node records of a text file.

#include "ptc/text_records.h"

#include <array>
#include <cstdio>

void TellWrongPoint(bool has_head) {
    std::puts(has_head ? "WARNING: Wrong data size in point cloud file!"
                       : "WARNING: Wrong point data in point cloud file!");
}

TokenStatus ReadTextPoint(TokenInput& input, PointHead* head, std::span<float> data) {
    std::array<double, 6> values;
    if (Failed(input.ReadRecord("", "%e %e %e  %hi %hi  %e", values))) {
        TellWrongPoint(false);
        return TokenStatus::kFailed;
    }
    for (std::size_t axis = 0; axis < 3; ++axis)
        head->position[axis] = static_cast<float>(values[axis]);
    const auto code = [](double value) {
        return static_cast<std::uint16_t>(static_cast<std::int16_t>(value));
    };
    Normals().Decode({code(values[3]), code(values[4])}, head->normal);
    head->radius = static_cast<float>(values[5]);
    if (data.empty() || !Failed(input.ReadFloats("ptd", data))) return TokenStatus::kOk;
    TellWrongPoint(true);
    return TokenStatus::kFailed;
}

TokenStatus ReadTextNode(TokenInput& input, NodeRecord* node, std::span<float> data) {
    if (Failed(input.ReadInt("firstpoint", &node->first_point)) ||
        Failed(input.ReadInt("npoints", &node->point_count)) ||
        Failed(input.ReadFloats("bbox", node->box)) ||
        (!data.empty() && Failed(input.ReadFloats("tdata", data))) ||
        Failed(input.ReadByte("childbits", &node->child_mask)))
        return TokenStatus::kFailed;
    for (unsigned i = 0; i < 8; ++i) {
        node->children[i] = 0;
        const char key[] = {'c', static_cast<char>('0' + i), '\0'};
        if ((node->child_mask >> i & 1U) && Failed(input.ReadInt64(key, &node->children[i])))
            return TokenStatus::kFailed;
    }
    return TokenStatus::kOk;
}
