// Point and node records through the token layer: each written and read in the same order.

#include "ptc/format/token_records.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

// A point's line. Readers skip blanks, so the one at its end is of no meaning to them.
constexpr const char* kPointLine = "%e %e %e  %hi %hi  %e ";

/// The key of a child's offset: "c0" to "c7".
std::array<char, 3> ChildKey(unsigned child) {
    return {'c', static_cast<char>('0' + child), '\0'};
}

bool HasChild(const NodeRecord& node, unsigned child) {
    return (node.child_mask >> child & 1U) != 0;
}

}  // namespace

TokenStatus WritePointTokens(TokenFile& file, const PointHead& point, NormalCode code,
                             const PointData& data) {
    TokenFile::Group record(file);
    const TokenStatus head =
        file.WriteRecord("", kPointLine,
                         {point.position[0], point.position[1], point.position[2],
                          static_cast<std::int16_t>(code.azimuth),
                          static_cast<std::int16_t>(code.height), point.radius});
    if (Failed(head)) return head;
    if (data.want > 0) {
        std::vector<float> floats(data.want / 4);
        data.CopyTo(std::as_writable_bytes(std::span(floats)).data());
        if (Failed(file.WriteFloats("ptd", floats))) return TokenStatus::kFailed;
    }
    return record.Put();
}

TokenStatus ReadTextPoint(TokenInput& input, CodedPoint* point, std::span<float> data,
                          bool* has_head) {
    std::array<double, 6> values;
    const TokenStatus read = input.ReadRecord("", kPointLine, values);
    if (has_head) *has_head = !Failed(read);
    if (Failed(read)) return read;
    for (std::size_t axis = 0; axis < 3; ++axis)
        point->position[axis] = static_cast<float>(values[axis]);
    // A code is unsigned and is printed as a signed number.
    const auto code = [](double printed) {
        return static_cast<std::uint16_t>(static_cast<std::int16_t>(printed));
    };
    point->code = {code(values[3]), code(values[4])};
    point->radius = static_cast<float>(values[5]);
    return data.empty() ? TokenStatus::kOk : input.ReadFloats("ptd", data);
}

TokenStatus ReadTextPoint(TokenInput& input, PointHead* head, std::span<float> data,
                          bool* has_head) {
    CodedPoint point;
    bool is_head_there = false;
    const TokenStatus read = ReadTextPoint(input, &point, data, &is_head_there);
    if (has_head) *has_head = is_head_there;
    if (!is_head_there) return read;
    std::copy_n(point.position, 3, head->position);
    Normals().Decode(point.code, head->normal);
    head->radius = point.radius;
    return read;
}

TokenStatus WriteNodeTokens(TokenFile& file, const NodeRecord& node, std::span<const float> data) {
    if (Failed(file.WriteInt("firstpoint", node.first_point)) ||
        Failed(file.WriteInt("npoints", node.point_count)) ||
        Failed(file.WriteFloats("bbox", node.box)) ||
        (!data.empty() && Failed(file.WriteFloats("tdata", data))) ||
        Failed(file.WriteByte("childbits", node.child_mask)))
        return TokenStatus::kFailed;
    for (unsigned i = 0; i < 8; ++i)
        if (HasChild(node, i) && Failed(file.WriteInt64(ChildKey(i).data(), node.children[i])))
            return TokenStatus::kFailed;
    return TokenStatus::kOk;
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
        if (HasChild(*node, i) && Failed(input.ReadInt64(ChildKey(i).data(), &node->children[i])))
            return TokenStatus::kFailed;
    }
    return TokenStatus::kOk;
}
