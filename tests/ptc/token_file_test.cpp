// The token layer's writers, in both forms, collected and straight through.

#include "ptc/format/token_file.h"

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
    const auto end = static_cast<std::size_t>(file.Tell());
    EXPECT_FALSE(Failed(file.Close()));
    EXPECT_EQ(end, bytes->size()) << "what is collected counts in positions";
    return TextOf(*bytes);
}

// What the other forms of values look like, the golden file and the format page's example pin.
TEST(PtcTokenFile, ValuesAreWrittenInBothForms) {
    using namespace std::string_literals;
    struct Row {
        std::function<TokenStatus(TokenFile&)> write;
        std::string binary;
        std::string text;
    };
    const Row rows[] = {
        {[](TokenFile& f) { return f.WriteInt("n", 5, "%300i"); }, "\5\0\0\0"s,
         "n " + std::string(253, ' ') + "\n"},
        {[](TokenFile& f) { return f.WriteByte("b", 0x81); }, "\x81", "b 81\n"},
        {[](TokenFile& f) { return f.WriteByte("b", 4); }, "\4", "b  4\n"},
        {[](TokenFile& f) { return f.WriteInt(nullptr, -2); }, "\xFE\xFF\xFF\xFF", "-2\n"},
        {[](TokenFile& f) {
             return f.WriteRecord("", "%hi %i  %e ", {std::int16_t{-1}, 2, 1.0f});
         },
         "\xFF\xFF\2\0\0\0\0\0\x80\x3F"s, " -1 2  1.000000e+00 \n"},
        {[](TokenFile& f) {
             return f.WriteThreeFloats("t", std::array{0.0f, 0.0f, 1.0f});
         },
         "\0\0\0\0\0\0\0\0\0\0\x80\x3F"s, "t  0.000000e+00  0.000000e+00  1.000000e+00\n"},
        // More than the buffer has room for at first.
        {[](TokenFile& f) { return f.WriteLine(std::string(300'000, 'x')); },
         std::string(300'000, 'x') + "\n", std::string(300'000, 'x') + "\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 20));
        for (const bool collect : {false, true}) {
            EXPECT_EQ(Written(TokenForm::kBinary, collect, row.write), kBinaryHead + row.binary);
            EXPECT_EQ(Written(TokenForm::kText, collect, row.write), kTextHead + row.text);
        }
    }
}

}  // namespace
