// Putting records together; see the header.

#include "ptc/format/record_run.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kCode = Find(ptc_layout::kPoint, "azimuth").offset;
constexpr std::size_t kRadius = Find(ptc_layout::kPoint, "radius").offset;

// A record's first four floats are stored at once, and the code over the fourth.
static_assert(Find(ptc_layout::kPoint, "position").offset == 0 && kCode == 12 &&
              Find(ptc_layout::kPoint, "height").offset == kCode + 2 && kRadius == 16);
static_assert(offsetof(PointHead, position) == 0 && offsetof(PointHead, normal) == 12);

/// Of fewer points, setting up the bounds of all lanes takes longer than it saves.
constexpr std::size_t kBoundsByLanes = 16;
static_assert(kBoundsByLanes <= kMaxRun);

/// How far the processor is asked to fetch ahead. The points of a host are often not in a cache,
/// and the encoding of normals leaves time to fetch the next ones.
constexpr std::size_t kAhead = 2 * kMaxRun;  // points
constexpr std::size_t kCacheLine = 64;

/// Asks for `bytes` that lie ahead of `place`. They may lie behind the last point: the next batch
/// often does too, and a request for memory that is not there has no effect.
inline void FetchAhead(const std::byte* place, std::size_t ahead, std::size_t bytes) {
    const std::uintptr_t from = __builtin_bit_cast(std::uintptr_t, place) + ahead;
    for (std::size_t i = 0; i < bytes; i += kCacheLine)
        __builtin_prefetch(__builtin_bit_cast(const void*, from + i));
}

/// Data of a number of floats that is known to the compiler.
template <std::size_t kFloats>
struct FixedData {
    explicit FixedData(const PointData&) {}
    void Copy(const std::byte* in, std::byte* out) const {
        if constexpr (kFloats > 0) std::memcpy(out, in, 4 * kFloats);
    }
    static constexpr std::size_t Given() { return 4 * kFloats; }
    static constexpr std::size_t Taken() { return 4 * kFloats; }
};

/// Data of any size.
struct AnyData {
    explicit AnyData(const PointData& given) : data(given) {}
    void Copy(const std::byte* in, std::byte* out) const {
        PointData{in, data.have, data.want}.CopyTo(out);
    }
    std::size_t Given() const { return std::min(data.have, data.want); }
    std::size_t Taken() const { return data.want; }
    PointData data;
};

/// The records of one run.
struct Pass {
    const GivenPoints& points;
    std::size_t count;
    const NormalCode* codes;  ///< null for records
    std::byte* out;           ///< moved behind the records
};

template <bool kAreRecords, class Data>
void Encode(const Data copier, Pass* pass) {
    constexpr std::size_t kGivenRadius = kAreRecords ? kRadius : offsetof(PointHead, radius);
    constexpr std::size_t kGivenHead = kGivenRadius + sizeof(float);
    const std::byte* head = pass->points.heads;
    const std::byte* data = pass->points.data;
    const NormalCode* code = pass->codes;
    std::byte* out = pass->out;
    const std::size_t stride = pass->points.stride;
    const std::size_t ahead = kAhead * stride;
    const std::size_t record = ptc_layout::kPointHeadBytes + copier.Taken();
    for (std::size_t left = pass->count; left > 0;
         --left, head += stride, data += stride, code += !kAreRecords) {
        FetchAhead(head, ahead, kGivenHead + copier.Given());
        float radius;
        std::memcpy(&radius, head + kGivenRadius, sizeof radius);
        if (radius < 0) continue;
        StoreFour(LoadFour(head), out);
        if constexpr (!kAreRecords) std::memcpy(out + kCode, code, sizeof *code);
        std::memcpy(out + kRadius, &radius, sizeof radius);
        copier.Copy(data, out + ptc_layout::kPointHeadBytes);
        out += record;
    }
    pass->out = out;
}

template <bool kAreRecords>
void Encode(const PointData& data, Pass* pass) {
    const std::size_t floats = data.have < data.want ? SIZE_MAX : data.want / sizeof(float);
    switch (floats) {
        case 0:
            return Encode<kAreRecords>(FixedData<0>(data), pass);
        case 1:
            return Encode<kAreRecords>(FixedData<1>(data), pass);
        case 2:
            return Encode<kAreRecords>(FixedData<2>(data), pass);
        case 3:
            return Encode<kAreRecords>(FixedData<3>(data), pass);
        case 4:
            return Encode<kAreRecords>(FixedData<4>(data), pass);
        case 5:
            return Encode<kAreRecords>(FixedData<5>(data), pass);
        case 6:
            return Encode<kAreRecords>(FixedData<6>(data), pass);
        case 7:
            return Encode<kAreRecords>(FixedData<7>(data), pass);
        case 8:
            return Encode<kAreRecords>(FixedData<8>(data), pass);
        case 16:
            return Encode<kAreRecords>(FixedData<16>(data), pass);
        default:
            return Encode<kAreRecords>(AnyData(data), pass);
    }
}

/// Writes the records of `heads`, which are those of the pass and at most kMaxRun.
void EncodeRun(const PointLanes& lanes, const HeadRun& heads, const PointData& data, Pass* pass) {
    if (pass->points.are_records) return Encode<true>(data, pass);
    NormalCodes codes;
    lanes.encode_normals(heads, codes);
    pass->codes = codes;
    Encode<false>(data, pass);
}

}  // namespace

std::byte* EncodeRecords(GivenPoints points, std::size_t data_bytes, const PointLanes& lanes,
                         RunBounds* bounds, std::byte* out) {
    const PointData data = points.Data(data_bytes);
    HeadRun heads = {points.heads, points.count, points.stride,
                     points.are_records ? kRadius : offsetof(PointHead, radius)};
    Pass pass{points, points.count, nullptr, out};
    if (points.count < kBoundsByLanes) {
        bounds->Include(heads);
        EncodeRun(lanes, heads, data, &pass);
        return pass.out;
    }
    RunBoundsByLanes by_lanes(lanes, heads, *bounds);
    while (points.count > 0) {
        pass.count = std::min(points.count, kMaxRun);
        heads = {points.heads, pass.count, heads.stride, heads.radius};
        by_lanes.Include(heads);
        EncodeRun(lanes, heads, data, &pass);
        points.Advance(pass.count);
    }
    *bounds = by_lanes.Result();
    return pass.out;
}
