// Four points at a time: a record's first 16 bytes and the normal each go in one piece.

#include "ptc/format/point_decode.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "ptc/format/layout.h"
#include "ptc/format/record_storage.h"

namespace {

using FourFloats = float __attribute__((vector_size(16)));
using Pairs = double __attribute__((vector_size(16)));
using Words = std::uint32_t __attribute__((vector_size(16)));
using Whole = std::int32_t __attribute__((vector_size(16)));

constexpr std::size_t kAtOnce = 4;
constexpr std::size_t kCodes = ptc_layout::Find(ptc_layout::kPoint, "azimuth").offset;
constexpr std::size_t kRadiusPlace = ptc_layout::Find(ptc_layout::kPoint, "radius").offset;
static_assert(kCodes == 12 && ptc_layout::Find(ptc_layout::kPoint, "height").offset == 14,
              "position and codes fill 16 bytes");

/// A decoded point, too, begins with position, normal and radius.
constexpr std::size_t kNormal = 12;
static_assert(offsetof(PointHead, normal) == kNormal && offsetof(PtcPoint, normal) == kNormal);
static_assert(offsetof(PointHead, radius) == 24 && offsetof(PtcPoint, radius) == 24);

template <class T>
T LoadAs(const std::byte* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

FourFloats SquareRoot(FourFloats values) {
#if defined(__SSE2__)
    return reinterpret_cast<FourFloats>(_mm_sqrt_ps(reinterpret_cast<__m128>(values)));
#else
    return FourFloats{std::sqrt(values[0]), std::sqrt(values[1]), std::sqrt(values[2]),
                      std::sqrt(values[3])};
#endif
}

/// Cosines and sines of two azimuths.
FourFloats Directions(const NormalDecoder& normals, std::uint16_t first, std::uint16_t second) {
    // A pair is moved as one double, so that both reach the register without a way through memory.
    const auto load = [](const sine_cosine::Pair& pair) {
        double both;
        std::memcpy(&both, &pair, sizeof both);
        return both;
    };
    return reinterpret_cast<FourFloats>(
        Pairs{load(normals.Direction(first)), load(normals.Direction(second))});
}

/// Decodes the heads of four records to four places `stride` bytes apart.
void DecodeFour(const NormalDecoder& normals, const std::byte* from, std::size_t record,
                std::byte* to, std::size_t stride) {
    const std::byte* const at[] = {from, from + record, from + 2 * record, from + 3 * record};
    const FourFloats a = LoadAs<FourFloats>(at[0]), b = LoadAs<FourFloats>(at[1]);
    const FourFloats c = LoadAs<FourFloats>(at[2]), d = LoadAs<FourFloats>(at[3]);
    const FourFloats ab = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const FourFloats cd = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    const auto codes = reinterpret_cast<Words>(__builtin_shufflevector(ab, cd, 2, 3, 6, 7));

    // In the order of NormalDecoder::Decode().
    const FourFloats share =
        __builtin_convertvector(reinterpret_cast<Whole>(codes >> 16), FourFloats) / 65535.0f;
    const auto has_normal = reinterpret_cast<Words>(codes != 0xFFFFFFFFU);
    const FourFloats z = (share - 1.0f) + share;
    const FourFloats width = SquareRoot(1.0f - z * z);
    const FourFloats ab_xy = Directions(normals, LoadAs<std::uint16_t>(at[0] + kCodes),
                                        LoadAs<std::uint16_t>(at[1] + kCodes)) *
                             __builtin_shufflevector(width, width, 0, 0, 1, 1);
    const FourFloats cd_xy = Directions(normals, LoadAs<std::uint16_t>(at[2] + kCodes),
                                        LoadAs<std::uint16_t>(at[3] + kCodes)) *
                             __builtin_shufflevector(width, width, 2, 2, 3, 3);
    // A point without a normal: every bit is 0, also the signs.
    const auto keep = [](FourFloats values, Words mask) {
        return reinterpret_cast<FourFloats>(reinterpret_cast<Words>(values) & mask);
    };
    const FourFloats ab_normal =
        keep(ab_xy, __builtin_shufflevector(has_normal, has_normal, 0, 0, 1, 1));
    const FourFloats cd_normal =
        keep(cd_xy, __builtin_shufflevector(has_normal, has_normal, 2, 2, 3, 3));
    const FourFloats kept_z = keep(z, has_normal);
    const FourFloats radius = {
        LoadAs<float>(at[0] + kRadiusPlace), LoadAs<float>(at[1] + kRadiusPlace),
        LoadAs<float>(at[2] + kRadiusPlace), LoadAs<float>(at[3] + kRadiusPlace)};
    const FourFloats ab_end = __builtin_shufflevector(kept_z, radius, 0, 4, 1, 5);
    const FourFloats cd_end = __builtin_shufflevector(kept_z, radius, 2, 6, 3, 7);

    // The position takes its code along; the normal then goes over it.
    const auto put = [&](std::size_t i, FourFloats head, FourFloats normal_and_radius) {
        std::memcpy(to + i * stride, &head, sizeof head);
        std::memcpy(to + i * stride + kNormal, &normal_and_radius, sizeof normal_and_radius);
    };
    put(0, a, __builtin_shufflevector(ab_normal, ab_end, 0, 1, 4, 5));
    put(1, b, __builtin_shufflevector(ab_normal, ab_end, 2, 3, 6, 7));
    put(2, c, __builtin_shufflevector(cd_normal, cd_end, 0, 1, 4, 5));
    put(3, d, __builtin_shufflevector(cd_normal, cd_end, 2, 3, 6, 7));
}

/// Decodes the heads of all records to the beginnings of places.
template <class Place>
void DecodeHeads(const PointRecords& from, Place* to) {
    const NormalDecoder& normals = Normals();
    const std::size_t record = ptc_layout::PointBytes(from.floats);
    const std::size_t fours = from.count - from.count % kAtOnce;
    for (std::size_t i = 0; i < fours; i += kAtOnce)
        DecodeFour(normals, from.bytes + i * record, record, reinterpret_cast<std::byte*>(to + i),
                   sizeof(Place));
    for (std::size_t i = fours; i < from.count; ++i) {
        PointHead head;
        DecodePoint(from.bytes + i * record, normals, &head, {});
        std::memcpy(static_cast<void*>(to + i), &head, sizeof head);
    }
}

/// Copies the data of each of `from` to where `to` says. A number of floats that the compiler knows
/// takes no loop.
template <std::size_t kFloats, class To>
void CopyData(const PointRecords& from, To to) {
    const std::size_t record = ptc_layout::PointBytes(from.floats);
    const std::byte* bytes = from.bytes + ptc_layout::kPointHeadBytes;
    for (std::size_t i = 0; i < from.count; ++i, bytes += record)
        std::memcpy(to(i), bytes, 4 * (kFloats > 0 ? kFloats : from.floats));
}

template <class To>
void CopyDataOf(const PointRecords& from, To to) {
    switch (from.floats) {
        case 0:
            return;
        case 1:
            return CopyData<1>(from, to);
        case 2:
            return CopyData<2>(from, to);
        case 3:
            return CopyData<3>(from, to);
        case 4:
            return CopyData<4>(from, to);
        default:
            return CopyData<0>(from, to);
    }
}

/// Runs `decode` on pieces of `from`, so that heads and data of a piece are taken while it is in
/// the nearest cache.
template <class DecodePiece>
void InPieces(const PointRecords& from, DecodePiece decode) {
    constexpr std::size_t kPieceBytes = 8192;
    const std::size_t record = ptc_layout::PointBytes(from.floats);
    const std::size_t piece = std::max(kAtOnce, kPieceBytes / record / kAtOnce * kAtOnce);
    for (std::size_t done = 0; done < from.count; done += piece)
        decode(done, PointRecords{from.bytes + done * record, std::min(piece, from.count - done),
                                  from.floats});
}

}  // namespace

void DecodePoints(const PointRecords& from, PointHead* heads, float* data) {
    InPieces(from, [&](std::size_t done, const PointRecords& piece) {
        DecodeHeads(piece, heads + done);
        if (data) CopyDataOf(piece, [&](std::size_t i) { return data + (done + i) * from.floats; });
    });
}

void DecodePoints(const PointRecords& from, PtcPoint* records) {
    InPieces(from, [&](std::size_t done, const PointRecords& piece) {
        DecodeHeads(piece, records + done);
        CopyDataOf(piece, [&](std::size_t i) { return StorageOf(records[done + i]); });
    });
}
