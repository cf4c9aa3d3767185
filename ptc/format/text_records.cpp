// Point and node records of a text file.

#include "ptc/format/text_records.h"

#include <array>

TokenStatus ReadTextPoint(TokenInput& input, PointHead* head, std::span<float> data,
                          bool* has_head) {
    std::array<double, 6> values;
    const TokenStatus read = input.ReadRecord("", "%e %e %e  %hi %hi  %e", values);
    if (has_head) *has_head = !Failed(read);
    if (Failed(read)) return read;
    for (std::size_t axis = 0; axis < 3; ++axis)
        head->position[axis] = static_cast<float>(values[axis]);
    const auto code = [](double value) {
        return static_cast<std::uint16_t>(static_cast<std::int16_t>(value));
    };
    Normals().Decode({code(values[3]), code(values[4])}, head->normal);
    head->radius = static_cast<float>(values[5]);
    return data.empty() ? TokenStatus::kOk : input.ReadFloats("ptd", data);
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
