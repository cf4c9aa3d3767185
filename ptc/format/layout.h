// Byte offsets of the binary form, version 2: every row of docs/format.md as a constant.
//
// The page and these rows say the same; tests/ptc/layout_test.cpp fails when they differ.

#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ptc/format/token_kind.h"

namespace ptc_layout {

static_assert(std::endian::native == std::endian::little,
              "files are written in host order; a big-endian host needs a conversion layer");

inline constexpr std::uint32_t kTypeCode = 0x6374706B;  // "kptc" in file order
inline constexpr std::uint32_t kVersion = 2;
inline constexpr std::string_view kMagic = "Kelvo Point Cloud File\n";
inline constexpr TokenFileKind kFileKind = {kMagic, kTypeCode, kVersion};

inline constexpr int kMaxVariables = 1000;                  // of points, and of nodes
inline constexpr std::size_t kMaxWrittenDeclaration = 255;  // characters, without the newline
inline constexpr std::size_t kMaxReadDeclaration = 511;     // likewise
inline constexpr int kMaxDataFloats = 1 << 24;              // of one point, and of one node
inline constexpr std::uint32_t kPaddingBits = 0x4F5EADBF;
inline constexpr int kPaddingFloats = 32;

struct Row {
    std::string_view key;
    std::size_t bytes;
};

struct Field {
    std::string_view key;
    std::size_t bytes;
    std::size_t offset;
};

/// Places the rows one behind the other, the first at `base`. No offset is typed by hand.
template <std::size_t N>
consteval std::array<Field, N> LayOut(std::size_t base, const Row (&rows)[N]) {
    std::array<Field, N> fields{};
    for (std::size_t i = 0; i < N; ++i) {
        fields[i] = {rows[i].key, rows[i].bytes, base};
        base += rows[i].bytes;
    }
    return fields;
}

template <std::size_t N>
consteval Field Find(const std::array<Field, N>& fields, std::string_view key) {
    for (const Field& field : fields)
        if (field.key == key) return field;
    throw "no such field";  // never at run time: a consteval throw is a compile error
}

template <std::size_t N>
consteval std::size_t End(const std::array<Field, N>& fields) {
    return fields[N - 1].offset + fields[N - 1].bytes;
}

inline constexpr Row kHeadRows[] = {
    {"type", 4},
    {"version", 4},
};
inline constexpr auto kHead = LayOut(0, kHeadRows);

/// The block that is rewritten in place at every checkpoint and at the end.
inline constexpr Row kBlockRows[] = {
    {"npoints", 8}, {"bbox", 24},         {"nnodes", 8},
    {"rootpos", 8}, {"largestradius", 4}, {"padding", 4 * kPaddingFloats},
};
inline constexpr auto kBlock = LayOut(End(kHead), kBlockRows);

inline constexpr Row kFixedRows[] = {
    {"world_to_eye", 64}, {"world_to_ndc", 64}, {"format", 12},
    {"npointvars", 4},    {"pointdatasize", 4},
};
inline constexpr auto kFixed = LayOut(End(kBlock), kFixedRows);

/// What every point record begins with; its data floats follow.
inline constexpr Row kPointRows[] = {
    {"position", 12},
    {"azimuth", 2},
    {"height", 2},
    {"radius", 4},
};
inline constexpr auto kPoint = LayOut(0, kPointRows);

/// What every node record begins with; its data floats, child mask and child offsets follow.
inline constexpr Row kNodeRows[] = {
    {"firstpoint", 4},
    {"npoints", 4},
    {"bbox", 24},
};
inline constexpr auto kNode = LayOut(0, kNodeRows);

// What docs/format.md promises.
static_assert(Find(kBlock, "npoints").offset == 8);
static_assert(Find(kBlock, "bbox").offset == 16);
static_assert(Find(kBlock, "nnodes").offset == 40);
static_assert(Find(kBlock, "rootpos").offset == 48);
static_assert(Find(kBlock, "largestradius").offset == 56);
static_assert(Find(kBlock, "padding").offset == 60);
static_assert(End(kBlock) - End(kHead) == 180, "the block is rewritten in place");
static_assert(Find(kFixed, "world_to_eye").offset == 188);
static_assert(Find(kFixed, "world_to_ndc").offset == 252);
static_assert(Find(kFixed, "format").offset == 316);
static_assert(Find(kFixed, "npointvars").offset == 328);
static_assert(Find(kFixed, "pointdatasize").offset == 332);
static_assert(End(kFixed) == 336, "the point variables' declarations begin here");

inline constexpr std::size_t kPointHeadBytes = End(kPoint);
static_assert(kPointHeadBytes == 20);

/// Bytes of one point record with `data_floats` floats of data.
constexpr std::size_t PointBytes(std::size_t data_floats) {
    return kPointHeadBytes + 4 * data_floats;
}

/// Most bytes that one node record takes with `data_floats` floats of data: all eight children.
constexpr std::size_t MaxNodeBytes(std::size_t data_floats) {
    return End(kNode) + 4 * data_floats + 1 + 8 * 8;
}
static_assert(MaxNodeBytes(0) == 97);

/// And the least: no child.
constexpr std::size_t MinNodeBytes(std::size_t data_floats) {
    return End(kNode) + 4 * data_floats + 1;
}

}  // namespace ptc_layout
