// PlyRows: the plan of a row, and a loop for each type.

#include "tools/ptc/convert/ply_rows.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace convert {

namespace {

/// Where the values of one column are, and where they go.
struct Lane {
    const std::byte* bytes;
    std::size_t bytes_step;
    float* slots;
    std::size_t slots_step;
    std::size_t count;
};

template <class T>
T SwappedBytes(const std::byte* bytes) {
    std::array<std::byte, sizeof(T)> turned;
    std::reverse_copy(bytes, bytes + sizeof(T), turned.begin());
    T value;
    std::memcpy(&value, turned.data(), sizeof value);
    return value;
}

template <class T>
T HostBytes(const std::byte* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

template <class T>
void DecodeLane(const Lane& lane, bool is_big_endian) {
    const auto decode = [&lane](auto value_at) {
        for (std::size_t i = 0; i < lane.count; ++i)
            lane.slots[i * lane.slots_step] =
                static_cast<float>(value_at(lane.bytes + i * lane.bytes_step));
    };
    if (is_big_endian) {
        decode(SwappedBytes<T>);
    } else {
        decode(HostBytes<T>);
    }
}

void DecodeLane(PlyType type, const Lane& lane, bool is_big_endian) {
    switch (type) {
        case PlyType::kInt8:
            return DecodeLane<std::int8_t>(lane, is_big_endian);
        case PlyType::kUint8:
            return DecodeLane<std::uint8_t>(lane, is_big_endian);
        case PlyType::kInt16:
            return DecodeLane<std::int16_t>(lane, is_big_endian);
        case PlyType::kUint16:
            return DecodeLane<std::uint16_t>(lane, is_big_endian);
        case PlyType::kInt32:
            return DecodeLane<std::int32_t>(lane, is_big_endian);
        case PlyType::kUint32:
            return DecodeLane<std::uint32_t>(lane, is_big_endian);
        case PlyType::kFloat32:
            return DecodeLane<float>(lane, is_big_endian);
        case PlyType::kFloat64:
            return DecodeLane<double>(lane, is_big_endian);
    }
}

}  // namespace

PlyRows::PlyRows(const PlyElement& element, PlyEncoding encoding,
                 const std::vector<PlyTarget>& targets)
    : is_big_endian_(encoding == PlyEncoding::kBigEndian) {
    const auto is_list = [](const PlyProperty& property) { return property.is_list; };
    if (encoding == PlyEncoding::kText ||
        std::any_of(element.properties.begin(), element.properties.end(), is_list))
        return;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const PlyType type = element.properties[i].type;
        if (targets[i].slot >= 0) columns_.push_back({row_bytes_, type, targets[i]});
        row_bytes_ += PlyBytes(type);
    }
}

void PlyRows::Decode(const std::byte* rows, std::size_t count, std::span<float> slots,
                     std::size_t stride) const {
    for (const Column& column : columns_) {
        const Lane lane = {rows + column.offset, row_bytes_, slots.data() + column.target.slot,
                           stride, count};
        if (column.target.is_screen) {
            for (std::size_t i = 0; i < count; ++i)
                lane.slots[i * stride] =
                    srgb_.Decode(HostBytes<std::uint8_t>(lane.bytes + i * row_bytes_));
        } else {
            DecodeLane(column.type, lane, is_big_endian_);
        }
    }
}

}  // namespace convert
