// The token layer's writers, in both forms, collected and straight through.

#include "ptc/token_file.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "tests/support/full_disk.h"

namespace {

constexpr TokenFileKind kKind = {"Any Data File", 0x41424344, 7};
const std::string kBinaryHead("DCBA\7\0\0\0", 8);
const std::string kTextHead = "Any Data File\nversion 7\n";

std::string Written(TokenForm form, bool collect,
                    const std::function<TokenStatus(TokenFile&)>& write) {
    auto bytes = std::make_shared<DiskBytes::element_type>();
    TokenFile file;
    EXPECT_FALSE(
        Failed(file.OpenForWriting(std::make_unique<FullDisk>(1 << 20, bytes), kKind, form)));
    if (collect) file.BeginBuffering(0);
    EXPECT_FALSE(Failed(write(file)));
    EXPECT_EQ(file.Tell(), collect ? file.Tell() : static_cast<std::int64_t>(bytes->size()));
    EXPECT_FALSE(Failed(file.Close()));
    return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
}

struct ValueCase {
    std::string name;
    std::function<TokenStatus(TokenFile&)> write;
    std::string binary;
    std::string text;
};

template <class... Byte>
std::string Bytes(Byte... byte) {
    return {static_cast<char>(byte)...};
}

class TokenFileValues : public testing::TestWithParam<ValueCase> {};

TEST_P(TokenFileValues, AreWrittenInBothForms) {
    for (const bool collect : {false, true}) {
        EXPECT_EQ(Written(TokenForm::kBinary, collect, GetParam().write),
                  kBinaryHead + GetParam().binary);
        EXPECT_EQ(Written(TokenForm::kText, collect, GetParam().write),
                  kTextHead + GetParam().text);
    }
}

constexpr std::array<float, 16> kRows{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

std::string MatrixText() {
    std::string text = "m\n";
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            char item[32];
            std::snprintf(item, sizeof item, " %13e", 1.0 + 4 * row + column);
            text += item;
        }
        text += '\n';
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    PtcTokenFile, TokenFileValues,
    testing::Values(
        ValueCase{"Int", [](TokenFile& f) { return f.WriteInt("n", -2); },
                  Bytes(0xFE, 0xFF, 0xFF, 0xFF), "n -2\n"},
        ValueCase{"IntIsCutAt253", [](TokenFile& f) { return f.WriteInt("n", 5, "%300i"); },
                  Bytes(5, 0, 0, 0), "n " + std::string(253, ' ') + "\n"},
        ValueCase{"Byte", [](TokenFile& f) { return f.WriteByte("b", 0x81); }, Bytes(0x81),
                  "b 81\n"},
        ValueCase{"SmallByteIsTwoWide", [](TokenFile& f) { return f.WriteByte("b", 4); }, Bytes(4),
                  "b  4\n"},
        ValueCase{"Float", [](TokenFile& f) { return f.WriteFloat("f", 1); },
                  Bytes(0, 0, 0x80, 0x3F), "f 1.000000e+00\n"},
        ValueCase{"Double", [](TokenFile& f) { return f.WriteDouble("d", 3, "%16.0lf"); },
                  Bytes(0, 0, 0, 0, 0, 0, 0x08, 0x40), "d                3\n"},
        ValueCase{"Int64", [](TokenFile& f) { return f.WriteInt64("l", 258); },
                  Bytes(2, 1, 0, 0, 0, 0, 0, 0), "l 258\n"},
        ValueCase{"Floats",
                  [](TokenFile& f) {
                      return f.WriteFloats("a", std::array{0.0f, 1.0f});
                  },
                  Bytes(0, 0, 0, 0, 0, 0, 0x80, 0x3F), "a   0.000000e+00  1.000000e+00\n"},
        ValueCase{"ThreeFloats",
                  [](TokenFile& f) {
                      return f.WriteThreeFloats("t", std::array{0.0f, 0.0f, 1.0f});
                  },
                  Bytes(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0x3F),
                  "t  0.000000e+00  0.000000e+00  1.000000e+00\n"},
        ValueCase{"Matrix", [](TokenFile& f) { return f.WriteMatrix("m", kRows); },
                  std::string(reinterpret_cast<const char*>(kRows.data()), sizeof kRows),
                  MatrixText()},
        ValueCase{"Record",
                  [](TokenFile& f) {
                      return f.WriteRecord("", "%hi %i  %e ", {std::int16_t{-1}, 2, 1.0f});
                  },
                  Bytes(0xFF, 0xFF, 2, 0, 0, 0, 0, 0, 0x80, 0x3F), " -1 2  1.000000e+00 \n"},
        ValueCase{"AbsentKey", [](TokenFile& f) { return f.WriteInt(nullptr, 9); },
                  Bytes(9, 0, 0, 0), "9\n"},
        ValueCase{"Line", [](TokenFile& f) { return f.WriteLine("float "); }, "float \n",
                  "float \n"}),
    [](const auto& tested) { return tested.param.name; });

TEST(PtcTokenFile, CollectedBytesCountInPositionsAndGrowTheBuffer) {
    TokenFile file;
    ASSERT_FALSE(Failed(
        file.OpenForWriting(std::make_unique<FullDisk>(1 << 20), kKind, TokenForm::kBinary)));
    file.BeginBuffering(16);
    file.BeginBuffering(1 << 20);  // while buffering: no effect
    const std::vector<float> many(5000, 1.0f);
    ASSERT_FALSE(Failed(file.WriteFloats("a", many)));
    EXPECT_EQ(file.Tell(), 8 + 20000);
    ASSERT_FALSE(Failed(file.EndBuffering()));
    EXPECT_EQ(file.Tell(), 8 + 20000);
    EXPECT_EQ(file.Reserve(4), nullptr);
}

TEST(PtcTokenFile, AFileThatCannotBeMadeSaysWhy) {
    TokenFile file;
    EXPECT_TRUE(Failed(file.OpenForWriting("/nowhere/at/all", kKind, TokenForm::kText)));
    EXPECT_EQ(file.Error(), ENOENT);
    EXPECT_TRUE(Failed(file.OpenForWriting("/dev/full", kKind, TokenForm::kBinary)));
    EXPECT_EQ(file.Error(), ENOSPC);
    EXPECT_FALSE(file.IsOpen());
}

}  // namespace
