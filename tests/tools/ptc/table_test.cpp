// Foreign PLY and CSV files: what their columns become, and what is refused.

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <random>
#include <sstream>

#include "tests/tools/run_tool.h"
#include "tools/ptc/convert/columns.h"
#include "tools/ptc/convert/number_parse.h"

namespace {

/// The bytes of `values`, turned around for a big-endian file.
template <class... T>
std::string ValueBytes(bool is_big_endian, T... values) {
    std::string all;
    const auto append = [&](auto value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        if (is_big_endian) std::reverse(bytes, bytes + sizeof value);
        all.append(bytes, sizeof value);
    };
    (append(values), ...);
    return all;
}

std::string Ply(const std::string& format, const std::string& lines, const std::string& data) {
    return "ply\nformat " + format + " 1.0\n" + lines + "end_header\n" + data;
}

const std::string kBinary = "binary_little_endian";
const std::string kXyz = "property float x\nproperty float y\nproperty float z\n";
const std::string kVertex = "element vertex 1\n" + kXyz;
const std::string kHead = "x,y,z,nx,ny,nz,radius,azimuth_code,height_code";

const std::string kMixedLines =
    "comment made elsewhere\nobj_info 12\n"
    "element camera 1\nproperty double fov\nproperty list uchar short path\n"
    "element vertex 2\nproperty list int uchar flags\nproperty double z\nproperty uchar red\n"
    "property short x\nproperty uchar green\nproperty int y\nproperty uchar blue\n"
    "property list uchar float weights\nproperty uint label\n"
    "element face 1\nproperty list uchar int vertex_indices\n";

std::string MixedData(bool big) {
    const std::uint8_t no = 0, one = 1, two = 2, three = 3;
    return ValueBytes(big, 45.0, two, std::int16_t{7}, std::int16_t{8}) +
           ValueBytes(big, 3, one, two, three, 0.25, std::uint8_t{255}, std::int16_t{-2}, no, 70000,
                      std::uint8_t{51}, no, 4000000000U) +
           ValueBytes(big, 0, 1e300, no, std::int16_t{1}, no, 2, no, one, 9.5f, 5U) +
           ValueBytes(big, three, 0, 0, 0);
}

TEST(PtcTable, ForeignFilesBecomeClouds) {
    const std::string plain = kHead + "\n1,2,3,0,0,0,0.5,65535,65535\n";
    const std::string mixed = kHead +
                              ",color_r,color_g,color_b,label\n"
                              "-2,70000,0.25,0,0,0,0.5,65535,65535,1,0,0.033104766,4e+09\n"
                              "1,2,inf,0,0,0,0.5,65535,65535,0,0,0,5\n";
    const struct {
        const char* name;
        std::string file;  // with --radius 0.5, where it has none
        std::string csv;   // the same as this system's table
    } cases[] = {
        {"any order, carriage returns",
         "ply\r\nformat ascii 1.0\r\nelement vertex 2\r\nproperty float z\r\n"
         "property double y\r\nproperty int x\r\nend_header\r\n3 2 1\n  6\t+5\r\n 4",
         plain + "4,5,6,0,0,0,0.5,65535,65535\n"},
        {"little endian", Ply(kBinary, kMixedLines, MixedData(false)), mixed},
        {"big endian", Ply("binary_big_endian", kMixedLines, MixedData(true)), mixed},
        {"mixed text",
         Ply("ascii", kMixedLines,
             "45 2 7 8\n3 1 2 3 0.25 255 -2 0 70000 51 0 4000000000\n"
             "0 1e300 0 1 0 2 0 1 9.5 5\n3 0 0 0\n"),
         mixed},
        {"rows of nothing are skipped at once",
         Ply(kBinary, "element nothing 9000000000000000000\n" + kVertex,
             ValueBytes(false, 1.0f, 2.0f, 3.0f)),
         plain},
        {"comments about other columns, and such that nobody wrote",
         Ply("ascii",
             "comment ptc point_variable color Cs\ncomment ptc point_variable float[2000000000] a\n"
             "comment ptc point_variable\ncomment ptc format 1 x\ncomment ptc world_to_eye\n" +
                 kVertex + "property float heat\n",
             "1 2 3 4"),
         kHead + ",heat\n1,2,3,0,0,0,0.5,65535,65535,4\n"},
        {"quotes and a byte order mark",
         "\xEF\xBB\xBF\"z\", y ,\"x\",the heat\r\n3, 2 ,\"1\",1e-60\r\n\r\n6,5,4,-1e60\r\n",
         kHead + ",the_heat\n1,2,3,0,0,0,0.5,65535,65535,0\n4,5,6,0,0,0,0.5,65535,65535,-inf\n"},
        {"codes count while they fit the normal", kHead + R"(
1,2,3,0.0078125,-3.7450704e-07,0.9999695,1,32767,65534
1,2,3,1,0,0,1,32767,65534
)",
         kHead + R"(
1,2,3,0.0078125,-3.7450704e-07,0.9999695,1,32767,65534
1,2,3,1,-4.79369e-05,-1.5258789e-05,1,32767,32767
)"},
    };
    const ToolFolder folder;
    for (const auto& [name, file, csv] : cases) {
        folder.Write("in", file);
        const ToolRun run = folder.Run("convert --radius 0.5 in - --to csv --from " +
                                       std::string(file.starts_with("ply") ? "ply" : "csv"));
        EXPECT_EQ(run.status, 0) << name << run.err;
        EXPECT_EQ(run.out, csv) << name;
    }
}

// Binary rows are decoded in blocks, of which a piece of the input holds several; text is not.
TEST(PtcTable, RowsOfEveryTypeAreTheSameNumbersInEveryEncoding) {
    constexpr int kRows = 5000;
    const std::string lines = "element vertex " + std::to_string(kRows) +
                              "\nproperty char x\nproperty ushort azimuth_code\nproperty float y\n"
                              "property uchar red\nproperty uchar green\nproperty uchar blue\n"
                              "property double z\nproperty short height_code\nproperty int i\n"
                              "property uint u\nproperty uchar b\n";
    const ToolFolder folder;
    std::string told[3];
    for (const bool has_wrong_code : {false, true}) {
        std::string data[3];
        std::mt19937 random(5);
        for (int row = 0; row < kRows; ++row) {
            const auto x = static_cast<std::int8_t>(random());
            const auto azimuth = static_cast<std::uint16_t>(random());
            const float y = static_cast<float>(random()) / 3;
            const auto red = static_cast<std::uint8_t>(random());
            const auto green = static_cast<std::uint8_t>(random());
            const double z = static_cast<double>(random()) / 7;
            const auto height = static_cast<std::int16_t>(
                has_wrong_code && row == 4321 ? -5 : int(random() % 32768));
            const auto whole = static_cast<std::int32_t>(random());
            for (const bool big : {false, true})
                data[big] += ValueBytes(big, x, azimuth, y, red, green, red, z, height, whole,
                                        std::uint32_t{azimuth}, green);
            std::ostringstream text;
            text.precision(17);
            text << int{x} << ' ' << azimuth << ' ' << y << ' ' << int{red} << ' ' << int{green}
                 << ' ' << int{red} << ' ' << z << ' ' << height << ' ' << whole << ' ' << azimuth
                 << ' ' << int{green} << '\n';
            data[2] += text.str();
        }
        for (int i = 0; i < 3; ++i) {
            folder.Write("in.ply", Ply(std::array{"binary_little_endian", "binary_big_endian",
                                                  "ascii"}[static_cast<std::size_t>(i)],
                                       lines, data[i]));
            const ToolRun run = folder.Run("convert in.ply - --to csv --radius 1");
            EXPECT_EQ(run.status, has_wrong_code);
            told[i] = run.out + run.err;
            EXPECT_TRUE(told[i] == told[0]) << i;
        }
        EXPECT_EQ(told[0].find("point 4321: -5 is no code") != std::string::npos, has_wrong_code);
        // The row before the one that is cut off is whole, and is looked at first.
        const std::size_t row_bytes = data[0].size() / kRows;
        for (const std::size_t rows : {4321u, 4322u}) {
            folder.Write("in.ply",
                         Ply(kBinary, lines, data[0].substr(0, (rows + 1) * row_bytes - 1)));
            const ToolRun run = folder.Run("convert in.ply - --to csv --radius 1");
            const bool is_code = has_wrong_code && rows == 4322;
            EXPECT_NE(run.err.find(is_code ? "point 4321" : "ends too early"), std::string::npos)
                << run.err;
        }
    }
}

TEST(PtcTable, HostilePlyFilesAreRefusedInOneLine) {
    const std::string lists = "element vertex 1\nproperty list int int a\n" + kXyz;
    std::string many = "element vertex 1\n";
    for (int i = 0; i < 17000; ++i) many += "property float p" + std::to_string(i) + "\n";
    const std::string files[] = {
        "",
        "ply\nformat ascii 1.0\nelement vertex 1\n",
        "ply\n" + kVertex + "end_header\n1 2 3",
        Ply("ascii", "element vertex -1\n", ""),
        Ply("ascii", "element vertex 1\nproperty list float int x\n", ""),
        Ply("ascii", "\x1b[2J\n", ""),
        Ply("ascii", "element vertex 1\nproperty float x\n", "1"),
        Ply("ascii", many, ""),
        Ply("ascii", kVertex, "1 2"),
        Ply("ascii", kVertex, "1 2 three"),
        Ply("ascii", kVertex, std::string(300, '1')),
        Ply(kBinary, "element vertex 9000000000000000000\n" + kXyz, ""),
        Ply(kBinary, "element vertex 9000000000000000\n" + kXyz, "abcd"),
        Ply(kBinary, "element a 6148914691236517206\n" + kXyz + kVertex,
            ValueBytes(false, 1., 1., 1.)),
        Ply(kBinary, lists, ValueBytes(false, -1)),
        Ply(kBinary, lists, ValueBytes(false, 0x7FFFFFFF)),
        Ply("ascii", lists, "1.5 2"),
        Ply("ascii", kVertex + "property int azimuth_code\nproperty int height_code\n",
            "1 2 3 4 65536"),
    };
    const ToolFolder folder;
    std::string told;
    for (const std::string& file : files) {
        folder.Write("in.ply", file);
        const ToolRun run = folder.Run("convert in.ply out.ptc --radius 1");
        EXPECT_EQ(run.status, 1);
        told += run.err;
        EXPECT_EQ(folder.Names().count("out.ptc"), 0u) << run.err;
    }
    ExpectGolden("hostile_ply.txt", told);
}

TEST(PtcTable, PlainNumbersAreReadAsTheStandardLibraryReadsThem) {
    std::mt19937_64 random(3);
    int plain = 0;
    const auto expect_same = [&plain](const std::string& text) {
        float read = 7, expected = 0;
        if (!convert::ParsePlain(text, &read)) return;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), expected);
        EXPECT_TRUE(error == std::errc() && *end == '\0') << text;
        EXPECT_EQ(std::bit_cast<std::uint32_t>(read), std::bit_cast<std::uint32_t>(expected))
            << text;
        ++plain;
    };
    for (const char* text : {"", "-", ".", "-.", ".5", "5.", "+5", "5-", "1e5", " 5", "5 ", "0x5",
                             "1.5.5", "nan", "1234567890123456", "0.123456789012345"}) {
        float value = 0;
        EXPECT_FALSE(convert::ParsePlain(text, &value)) << text;
    }
    for (const char* text : {"0", "-0", "-0.0", "00000000000001", "0.00000000000001"})
        expect_same(text);
    EXPECT_EQ(plain, 5);
    for (int i = 0; i < 200'000; ++i) {
        std::string text = std::to_string(random() >> random() % 50);
        text.resize(std::min<std::size_t>(text.size(), 1 + random() % 16));
        if (const std::size_t point = random() % 18; point > 0 && point < text.size())
            text.insert(point, 1, '.');
        expect_same(random() % 2 ? text : "-" + text);
        // Half way between two floats, where the even one counts, and beside that.
        const std::uint64_t half = (random() % (1 << 24) | 1 << 24) * 2 + 1;
        const std::string number = std::to_string(half << random() % 10);
        expect_same(number);
        expect_same(number + "." + std::string(14 - number.size(), '0') + "1");
    }
    EXPECT_GT(plain, 300'000);
}

TEST(PtcColumns, NamesAreUniqueWhateverTheVariablesAreCalled) {
    const CloudVariables variables = {
        {"float", "float", "float", "float", "float", "point", "float[3]"},
        {"radius", "", "", "a b,c", "v_x", "v", "n"},
        {1, 1, 1, 1, 1, 3, 3},
        11};
    const CloudVariables long_name = {{"color"}, {std::string(500, 'n')}, {3}, 3};
    EXPECT_LE(convert::ColumnNames(long_name)[0].size(), convert::kMaxColumnName);
    EXPECT_EQ(convert::ColumnNames(variables),
              (std::vector<std::string>{"radius_v2", "unnamed", "unnamed_v2", "a_b_c", "v_x",
                                        "v_v2_x", "v_v2_y", "v_v2_z", "n_0", "n_1", "n_2"}));
}

}  // namespace
