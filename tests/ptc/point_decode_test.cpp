// Points decoded many at a time, beside decoding one after the other.

#include "ptc/format/point_decode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

/// The plain way: value by value, as the format says.
PointHead PlainHead(const std::byte* record) {
    PointHead head{};
    NormalCode code;
    std::memcpy(head.position, record, 12);
    std::memcpy(&code, record + 12, 4);
    std::memcpy(&head.radius, record + 16, 4);
    if (code == kNoNormal) return head;
    const float turns = static_cast<float>(code.azimuth) / 65535.0f;
    const sine_cosine::Pair direction = sine_cosine::Of((turns - 0.5f) * 6.2831855f);
    const float share = static_cast<float>(code.height) / 65535.0f;
    const float z = (share - 1.0f) + share;
    const float width = std::sqrt(1.0f - z * z);
    head.normal[0] = direction.cosine * width;
    head.normal[1] = direction.sine * width;
    head.normal[2] = z;
    return head;
}

/// Records of any bits at an odd address: no value is aligned.
struct RawRecords {
    RawRecords(std::size_t points, std::size_t data_floats)
        : bytes(1 + points * ptc_layout::PointBytes(data_floats)),
          count(points),
          floats(data_floats) {
        std::mt19937 random(7);
        for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
    }
    PointRecords Records() const { return {&bytes[1], count, floats}; }
    std::byte* At(std::size_t i) { return &bytes[1 + i * ptc_layout::PointBytes(floats)]; }
    void SetCode(std::size_t i, NormalCode code) { std::memcpy(At(i) + 12, &code, sizeof code); }

    std::vector<std::byte> bytes;
    const std::size_t count, floats;
};

/// Expects that both outputs have what the plain way gives, and nothing else is written.
void ExpectAsPlain(RawRecords& raw) {
    const std::size_t floats = raw.floats;
    std::vector<PointHead> heads(raw.count + 1, {{9, 9, 9}, {9, 9, 9}, 9});
    std::vector<float> data(raw.count * floats + 1, 9), apart(2 * raw.count * floats + 1, 9);
    std::vector<PtcPoint> points(raw.count + 1, {{9, 9, 9}, {9, 9, 9}, 9, nullptr});
    for (std::size_t i = 0; i < raw.count; ++i) points[i].data = &apart[2 * i * floats];
    const std::vector<PtcPoint> before = points;
    DecodePoints(raw.Records(), heads.data(), data.data());
    DecodePoints(raw.Records(), points.data());
    for (std::size_t i = 0; i < raw.count; ++i) {
        const PointHead plain = PlainHead(raw.At(i));
        ASSERT_EQ(std::memcmp(&heads[i], &plain, sizeof plain), 0) << i << " of " << raw.count;
        ASSERT_EQ(std::memcmp(&points[i], &plain, sizeof plain), 0) << i << " of " << raw.count;
        ASSERT_EQ(points[i].data, before[i].data);
        const std::byte* const stored = raw.At(i) + ptc_layout::kPointHeadBytes;
        ASSERT_EQ(std::memcmp(&data[i * floats], stored, 4 * floats), 0) << i;
        ASSERT_EQ(std::memcmp(points[i].data, stored, 4 * floats), 0) << i;
    }
    EXPECT_EQ(heads.back().position[0], 9);
    EXPECT_EQ(points.back().position[0], 9);
    EXPECT_EQ(data.back(), 9);
    EXPECT_EQ(apart.back(), 9);
}

TEST(PtcPointDecode, EveryAzimuthAndEveryHeightAsPlain) {
    RawRecords raw(65536, 0);
    for (const std::uint16_t other : std::initializer_list<std::uint16_t>{0, 32767, 65535}) {
        for (const bool is_azimuth : {false, true}) {
            for (std::size_t i = 0; i < raw.count; ++i) {
                const auto code = static_cast<std::uint16_t>(i);
                raw.SetCode(i, is_azimuth ? NormalCode{code, other} : NormalCode{other, code});
            }
            ExpectAsPlain(raw);
        }
    }
}

TEST(PtcPointDecode, AnyCountAndAnyDataAsPlain) {
    for (const std::size_t floats : {0, 1, 2, 3, 4, 5, 7, 300, 3000}) {
        for (const std::size_t count : {0, 1, 3, 4, 5, 8, 257}) {
            RawRecords raw(count, floats);
            for (std::size_t i = 0; i < count; i += 3) raw.SetCode(i, kNoNormal);
            ExpectAsPlain(raw);
        }
    }
    RawRecords raw(9, 4);
    std::vector<PointHead> heads(9);
    DecodePoints(raw.Records(), heads.data(), nullptr);
    EXPECT_EQ(std::memcmp(heads[8].position, raw.At(8), 12), 0) << "data that is not wanted";
}

}  // namespace
