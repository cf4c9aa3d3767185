// Foreign PLY and CSV files: what their columns become, and what is refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/support/cloud_file.h"
#include "tests/tools/ptc/run_tool.h"
#include "tools/ptc/columns.h"

namespace {

/// The bytes of `values`, turned around for a big-endian file.
template <class... T>
std::string Bytes(bool is_big_endian, T... values) {
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

const std::string kXyz = "property float x\nproperty float y\nproperty float z\n";
const std::string kVertex = "element vertex 1\n" + kXyz;
const std::string kHead = "x,y,z,nx,ny,nz,radius,azimuth_code,height_code";

struct Foreign {
    const char* name;
    std::string file;  ///< with --radius 0.5, where it has none
    std::string csv;   ///< the same as this system's table
};

class PtcForeignTable : public testing::TestWithParam<Foreign> {};

TEST_P(PtcForeignTable, BecomesACloud) {
    const ToolFolder folder;
    const bool is_csv = !GetParam().file.starts_with("ply");
    folder.Write(is_csv ? "in.csv" : "in.ply", GetParam().file);
    const ToolRun run = folder.Run(std::string("convert --radius 0.5 --to csv ") +
                                   (is_csv ? "in.csv" : "in.ply") + " -");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, GetParam().csv);
}

const std::string kMixedLines =
    "comment made elsewhere\nobj_info 12\n"
    "element camera 1\nproperty double fov\nproperty list uchar short path\n"
    "element vertex 2\nproperty list int uchar flags\nproperty double z\nproperty uchar red\n"
    "property short x\nproperty uchar green\nproperty int y\nproperty uchar blue\n"
    "property list uchar float weights\nproperty uint label\n"
    "element face 1\nproperty list uchar int vertex_indices\n";

std::string MixedData(bool big) {
    return Bytes(big, 45.0, std::uint8_t{2}, std::int16_t{7}, std::int16_t{8}) +
           Bytes(big, 3, std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}, 0.25, std::uint8_t{255},
                 std::int16_t{-2}, std::uint8_t{0}, 70000, std::uint8_t{51}, std::uint8_t{0},
                 4000000000U) +
           Bytes(big, 0, 1e300, std::uint8_t{0}, std::int16_t{1}, std::uint8_t{0}, 2,
                 std::uint8_t{0}, std::uint8_t{1}, 9.5f, 5U) +
           Bytes(big, std::uint8_t{3}, 0, 0, 0);
}

const std::string kMixedCsv = kHead +
                              ",color_r,color_g,color_b,label\n"
                              "-2,70000,0.25,0,0,0,0.5,65535,65535,1,0,0.033104766,4e+09\n"
                              "1,2,inf,0,0,0,0.5,65535,65535,0,0,0,5\n";

INSTANTIATE_TEST_SUITE_P(
    Files, PtcForeignTable,
    testing::Values(
        Foreign{"TextInAnyOrder",
                Ply("ascii",
                    "element vertex 2\nproperty float z\nproperty double y\n"
                    "property int x\n",
                    "3 2 1\n  6\t+5\r\n 4"),
                kHead + "\n1,2,3,0,0,0,0.5,65535,65535\n4,5,6,0,0,0,0.5,65535,65535\n"},
        Foreign{"LittleEndianMixed", Ply("binary_little_endian", kMixedLines, MixedData(false)),
                kMixedCsv},
        Foreign{"BigEndianMixed", Ply("binary_big_endian", kMixedLines, MixedData(true)),
                kMixedCsv},
        Foreign{"TextMixed",
                Ply("ascii", kMixedLines,
                    "45 2 7 8\n3 1 2 3 0.25 255 -2 0 70000 51 0 4000000000\n"
                    "0 1e300 0 1 0 2 0 1 9.5 5\n3 0 0 0\n"),
                kMixedCsv},
        Foreign{"CarriageReturns",
                "ply\r\nformat ascii 1.0\r\nelement vertex 1\r\nproperty float x\r\n"
                "property float y\r\nproperty float z\r\nend_header\r\n1 2 3\r\n",
                kHead + "\n1,2,3,0,0,0,0.5,65535,65535\n"},
        Foreign{"NoPoints", Ply("ascii", "element vertex 0\n" + kXyz, ""), kHead + "\n"},
        Foreign{"RowsOfNothingAreSkippedAtOnce",
                Ply("binary_little_endian", "element nothing 9000000000000000000\n" + kVertex,
                    Bytes(false, 1.0f, 2.0f, 3.0f)),
                kHead + "\n1,2,3,0,0,0,0.5,65535,65535\n"},
        Foreign{"NormalIsEncoded",
                Ply("ascii", kVertex + "property float nx\nproperty float ny\nproperty float nz\n",
                    "1 2 3 0 0 1\n"),
                kHead + "\n1,2,3,0.0078125,-3.7450704e-07,0.9999695,0.5,32767,65534\n"},
        Foreign{"CommentsOfColumnsThatAreNotThere",
                Ply("ascii",
                    "comment ptc point_variable color Cs\n" + kVertex + "property float heat\n",
                    "1 2 3 4"),
                kHead + ",heat\n1,2,3,0,0,0,0.5,65535,65535,4\n"},
        Foreign{"CommentsNobodyWrote",
                Ply("ascii",
                    "comment ptc point_variable float[2000000000] a\n"
                    "comment ptc point_variable\ncomment ptc format 1 x\n"
                    "comment ptc world_to_eye\n" +
                        kVertex,
                    "1 2 3"),
                kHead + "\n1,2,3,0,0,0,0.5,65535,65535\n"},
        Foreign{"CsvQuotedWithByteOrderMark",
                "\xEF\xBB\xBF\"z\", y ,\"x\",the heat\r\n3, 2 ,\"1\",1e-60\r\n\r\n6,5,4,-1e60\r\n",
                kHead + ",the_heat\n1,2,3,0,0,0,0.5,65535,65535,0\n"
                        "4,5,6,0,0,0,0.5,65535,65535,-inf\n"},
        // A normal that its codes do not stand for was edited; one that they do keeps them.
        Foreign{"CodesCountWhileTheyFitTheNormal",
                "x,y,z,nx,ny,nz,radius,azimuth_code,height_code\n"
                "1,2,3,0.0078125,-3.7450704e-07,0.9999695,1,32767,65534\n"
                "1,2,3,1,0,0,1,32767,65534\n",
                kHead + "\n1,2,3,0.0078125,-3.7450704e-07,0.9999695,1,32767,65534\n"
                        "1,2,3,1,-4.79369e-05,-1.5258789e-05,1,32767,32767\n"},
        Foreign{
            "NeighboursBecomeOneVariable",
            "x,y,z,radius,v_x,v_y,v_z,c_r,c_g,c_b,w_0,w_1,lone_0\n1,2,3,4,5,6,7,8,9,10,11,12,13\n",
            kHead + ",v_x,v_y,v_z,c_r,c_g,c_b,w_0,w_1,lone_0\n"
                    "1,2,3,0,0,0,4,65535,65535,5,6,7,8,9,10,11,12,13\n"}),
    [](const auto& tested) { return tested.param.name; });

// Light of 0.2140411 is the byte 127.5 of a screen, so the two neighbours of it part there.
TEST(PtcTable, PlyHasWhatViewersLookFor) {
    const ToolFolder folder;
    folder.Write("in.csv", kHead +
                               ",heat,c_r,c_g,c_b\n"
                               "1,2.5,-3e-9,0,0,0,0.1,65535,65535,7,0.2140412,0.214041,-1\n"
                               "4,5,6,0,0,0,0.1,65535,65535,8,nan,inf,1\n");
    folder.Convert("in.csv out.ply --to ply-ascii");
    const std::string floats = "property float ";
    std::string golden = "ply\nformat ascii 1.0\n";
    for (const char* const matrix : {"eye", "ndc"})
        golden +=
            std::string("comment ptc world_to_") + matrix + " 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n";
    golden +=
        "comment ptc format 0 0 -1\ncomment ptc point_variable float heat\n"
        "comment ptc point_variable color c\n"
        "comment ptc 1 ...................\nelement vertex 2\n";
    for (const char* const name : {"x", "y", "z", "nx", "ny", "nz", "radius"})
        golden += floats + name + '\n';
    golden +=
        "property ushort azimuth_code\nproperty ushort height_code\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    for (const char* const name : {"heat", "c_r", "c_g", "c_b"}) golden += floats + name + '\n';
    golden +=
        "end_header\n"
        "1 2.5 -3e-09 0 0 0 0.1 65535 65535 128 127 0 7 0.2140412 0.214041 -1\n"
        "4 5 6 0 0 0 0.1 65535 65535 0 255 255 8 nan inf 1\n";
    EXPECT_EQ(folder.Content("out.ply"), golden);
}

TEST(PtcTable, NeighboursAreDeclaredAsWhatTheyAre) {
    const ToolFolder folder;
    folder.Write("in.csv", "x,y,z,radius,v_x,v_y,v_z,c_r,c_g,c_b,w_0,w_1,lone_0\n");
    folder.Convert("in.csv out.ptc");
    EXPECT_EQ((CloudFile{folder.Content("out.ptc")}.Declarations()),
              (std::vector<std::string>{"vector v", "color c", "float[2] w", "float lone_0"}));
}

// 100 points on the faces of a box of 1 x 1 x 1 lie 0.245 apart.
TEST(PtcTable, RadiusNobodyToldIsHalfTheSpacing) {
    const ToolFolder folder;
    std::string table = "x,y,z\n";
    for (int i = 0; i < 50; ++i) table += "0,0,0\n1,1,1\n";
    folder.Write("in.csv", table);
    folder.Write("empty.csv", "x,y,z\n");
    folder.Convert("in.csv out.ptc");
    folder.Convert("empty.csv empty.ptc");
    EXPECT_NEAR((CloudFile{folder.Content("out.ptc")}.LargestRadius()), 0.5f * 0.244949f, 1e-6f);
}

TEST(PtcTable, HostileFileIsRefusedInOneLine) {
    const std::string lists = "element vertex 1\nproperty list int int a\n" + kXyz;
    const std::string binary = "binary_little_endian";
    std::string many = "element vertex 1\n";
    for (int i = 0; i < 17000; ++i) many += "property float p" + std::to_string(i) + "\n";
    const struct {
        std::string file;
        const char* reason;
    } cases[] = {
        {"", "it is no PLY file"},
        {"ply\nformat ascii 1.0\nelement vertex 1\n", "it ends within its header"},
        {"ply\n" + kVertex + "end_header\n1 2 3", "it has no format line"},
        {Ply("utf8", kVertex, ""), "cannot be read: format utf8 1.0"},
        {Ply("ascii", "property float x\n", ""), "cannot be read: property float x"},
        {Ply("ascii", "element vertex -1\n", ""), "cannot be read: element vertex -1"},
        {Ply("ascii", "element vertex 99999999999999999999\n", ""), "cannot be read: element"},
        {Ply("ascii", "element vertex 1\nproperty quad x\n", ""), "cannot be read: property quad"},
        {Ply("ascii", "element vertex 1\nproperty list float int x\n", ""), "cannot be read"},
        {Ply("ascii", "\x1b[2J\n", ""), "cannot be read: ?[2J"},
        {Ply("ascii", "element face 1\nproperty float x\n", "1"), "it has no vertices"},
        {Ply("ascii", "element vertex 1\nproperty float x\n", "1"), "it has no x, y and z"},
        {Ply("ascii", many, ""), "it has too many properties"},
        {Ply("ascii", kVertex, "1 2"), "it ends too early"},
        {Ply("ascii", kVertex, "1 2 three"), "it has \"three\" where a number belongs"},
        {Ply("ascii", kVertex, std::string(300, '1')), "it has a number above 256 bytes"},
        {Ply(binary, "element vertex 9000000000000000000\n" + kXyz, ""), "impossible number"},
        {Ply(binary, "element vertex 9000000000000000\n" + kXyz, "abcd"), "it ends too early"},
        {Ply(binary, "element a 9000000000000000000\n" + kXyz + kVertex, ""), "it ends too early"},
        {Ply(binary, lists, Bytes(false, -1)), "it has a list without a length"},
        {Ply(binary, lists, Bytes(false, 0x7FFFFFFF)), "it ends too early"},
        {Ply("ascii", lists, "1.5 2"), "it has a list without a length"},
        {Ply("ascii", kVertex + "property int azimuth_code\nproperty int height_code\n",
             "1 2 3 4 65536"),
         "point 0: 65536 is no code"},
    };
    const ToolFolder folder;
    for (const auto& tested : cases) {
        SCOPED_TRACE(tested.file.substr(0, 80));
        folder.Write("in.ply", tested.file);
        const ToolRun run = folder.Run("convert in.ply out.ptc --radius 1");
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.err.starts_with("ptc: in.ply: ")) << run.err;
        EXPECT_NE(run.err.find(tested.reason), std::string::npos) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(folder.Names().count("out.ptc"), 0u);
    }
}

TEST(PtcColumns, NamesAreUniqueWhateverTheVariablesAreCalled) {
    CloudVariables variables;
    const auto declare = [&](const char* type, const char* name, std::int32_t size) {
        variables.types.emplace_back(type);
        variables.names.emplace_back(name);
        variables.sizes.push_back(size);
        variables.data_size += size;
    };
    declare("float", "radius", 1);
    declare("float", "", 1);
    declare("float", "", 1);
    declare("float", "a b,c", 1);
    declare("float", "v_x", 1);
    declare("point", "v", 3);
    declare("float[3]", "n", 3);
    EXPECT_EQ(convert::ColumnNames(variables),
              (std::vector<std::string>{"radius_v2", "unnamed", "unnamed_v2", "a_b_c", "v_x",
                                        "v_v2_x", "v_v2_y", "v_v2_z", "n_0", "n_1", "n_2"}));
}

}  // namespace
