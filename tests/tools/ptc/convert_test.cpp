// ptc convert: what a cloud keeps on its way through every form, and what a failure leaves.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstring>
#include <random>

#include "ptc/raw_points.h"
#include "tests/support/full_disk.h"
#include "tests/support/small_cloud.h"
#include "tests/tools/ptc/run_tool.h"
#include "tools/ptc/gzip_sink.h"

namespace {

/// A cloud of `count` points with any codes and, in two variables, any finite floats.
std::string RandomCloud(std::int64_t count) {
    const char* const types[] = {"float", "color"};
    const char* const names[] = {"_area", "Cs"};
    CloudDescription description;
    description.point_variables = {2, types, names};
    description.format[0] = 320;
    description.format[1] = 200;
    description.format[2] = 1.5f;
    const DiskBytes disk = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud = CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, disk),
                                   TokenForm::kBinary, &why);
    std::mt19937 random(7);
    std::array<std::uint32_t, 9> record;  // x y z, codes, radius, four floats
    for (std::int64_t i = 0; i < count; ++i) {
        for (std::uint32_t& word : record) word = static_cast<std::uint32_t>(random());
        for (const std::size_t value : {0, 1, 2, 4, 5, 6, 7, 8})
            record[value] = (record[value] & 0x80FFFFFF) | (0x38 + record[value] % 16) << 24;
        record[4] &= 0x7FFFFFFF;  // a radius
        if (i % 100 == 0) record[3] = 0xFFFFFFFF;
        EXPECT_EQ(WritePointRecords(*cloud, std::as_bytes(std::span(record))), CloudStatus::kOk);
    }
    EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    return {reinterpret_cast<const char*>(disk->data()), disk->size()};
}

// The points' header lines are rewritten at 250,000 points and at the end, in every form.
TEST(PtcConvert, LongWayRoundKeepsCountsCodesAndDigitsInLittleMemory) {
    constexpr std::int64_t kPoints = 260'001;
    const ToolFolder folder;
    folder.Write("a.ptc", RandomCloud(kPoints));
    folder.Convert("a.ptc b.txt");
    folder.Convert("b.txt b.ptc");
    folder.Convert("b.ptc c.ply");
    folder.Convert("c.ply d.ptc");
    folder.Convert("d.ptc e.txt.gz");
    // The library's warning about trees in compressed files comes with every one.
    EXPECT_EQ(folder.Run("convert e.txt.gz f.txt").status, 0);

    EXPECT_TRUE(folder.Content("b.ptc") == folder.Content("d.ptc"));
    // The box is around the points as they are in the file, so its last digit may differ.
    const auto behind_box = [&](const char* name) {
        const std::string text = folder.Content(name);
        return text.substr(text.find("nnodes"));
    };
    EXPECT_TRUE(behind_box("b.txt") == behind_box("f.txt"));
    const std::string a = folder.Content("a.ptc");
    const std::string d = folder.Content("d.ptc");
    ASSERT_EQ(a.size(), d.size());
    constexpr std::size_t kRecord = 36;
    for (std::size_t i = 1; i <= kPoints; ++i)
        ASSERT_EQ(a.compare(a.size() - i * kRecord + 12, 4, d, d.size() - i * kRecord + 12, 4), 0)
            << "codes of the point " << i << " before the end";

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    rusage children{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &children), 0);
    EXPECT_LT(children.ru_maxrss, 50 * 1024) << "KB at most in any run";
#endif
}

struct Way {
    const char* name;
    const char* to;    ///< arguments behind the first file's name
    const char* back;  ///< and of the way back
    bool keeps_header;
};

class PtcConvertWay : public testing::TestWithParam<Way> {};

TEST_P(PtcConvertWay, ComesBackByteForByte) {
    for (const int points : {0, 1, 5000}) {
        SCOPED_TRACE(points);
        const ToolFolder folder;
        const std::string cloud = RandomCloud(points);
        folder.Write("a.ptc", cloud);
        folder.Convert(std::string("a.ptc ") + GetParam().to);
        EXPECT_EQ(folder.Run(std::string("convert ") + GetParam().back).status, 0);
        const std::string back = folder.Content("b.ptc");
        ASSERT_EQ(back.size(), cloud.size());
        // A table without a place for them loses the matrices, and nothing else.
        const std::size_t from = GetParam().keeps_header ? 0 : 328;
        EXPECT_TRUE(back.compare(from, back.npos, cloud, from, cloud.npos) == 0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Forms, PtcConvertWay,
    testing::Values(
        Way{"Binary", "c.ptc", "c.ptc b.ptc", true}, Way{"Gzip", "c.gz", "c.gz b.ptc", true},
        Way{"GzipPipes", "- --to gzip | cat >c", "- - --to binary <c | cat >b.ptc", true},
        Way{"Ply", "c.ply", "c.ply b.ptc", true},
        Way{"PlyText", "c --to ply-ascii", "c b.ptc --from ply-ascii", true},
        Way{"PlyThroughCsv", "c.csv", "c.csv d.ply && '" PTC "' convert d.ply b.ptc", false},
        Way{"Csv", "c.csv", "c.csv b.ptc", false}),
    [](const auto& tested) { return tested.param.name; });

TEST(PtcConvert, NodesGoAlongWhereTheirOffsetsHold) {
    const ToolFolder folder;
    const std::string cloud = SmallCloud(TokenForm::kBinary);
    folder.Write("a.ptc", cloud);
    folder.Write("a.txt", SmallCloud(TokenForm::kText));
    folder.Convert("a.ptc b.ptc");
    EXPECT_TRUE(folder.Content("b.ptc") == cloud);
    folder.Convert("a.ptc b.gz");
    ASSERT_EQ(
        std::system(("gunzip -c <" + folder.Path("b.gz") + " >" + folder.Path("c.ptc")).c_str()),
        0);
    EXPECT_TRUE(folder.Content("c.ptc") == cloud);

    struct {
        const char* arguments;
        const char* file;
        TokenForm form;
    } const without[] = {
        {"a.ptc d.txt", "d.txt", TokenForm::kText},
        {"a.txt e.ptc", "e.ptc", TokenForm::kBinary},
        {"a.ptc f.ply && '" PTC "' convert f.ply f.ptc", "f.ptc", TokenForm::kBinary},
    };
    for (const auto& way : without) {
        const ToolRun run = folder.Run(std::string("convert ") + way.arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_NE(run.err.find("2 octree nodes are left out"), std::string::npos) << run.err;
        EXPECT_TRUE(folder.Content(way.file) == SmallCloud(way.form, false)) << way.arguments;
    }
}

TEST(PtcConvert, FailureSaysWhyAndLeavesEverythingAsItWas) {
    const ToolFolder folder;
    const std::string cloud = RandomCloud(3000);
    folder.Write("a.ptc", cloud);
    folder.Write("cut.ptc", cloud.substr(0, 5000));
    folder.Convert("a.ptc whole.gz");
    folder.Write("cut.gz", folder.Content("whole.gz").substr(0, 50'000));
    folder.Write("bad.csv", "x,y,z\n1,2,3\n4,5,six\n");
    folder.Write("negative.csv", "radius,x,y,z\n1,2,3,4\n-1,2,3,4\n");
    folder.Write("out.ptc", "an older file");
    const auto before = folder.Names();

    struct {
        const char* arguments;
        int status;
        const char* reason;
    } const cases[] = {
        {"none.ptc out.ptc", 1, "ptc: none.ptc: No such file or directory\n"},
        {"cut.ptc out.ptc", 1, "ptc: cut.ptc: it is shorter than its number of points takes\n"},
        {"cut.gz out.ptc", 1, "ptc: cut.gz: "},
        {"bad.csv out.ptc", 1, "ptc: bad.csv: line 3: \"six\" is no number\n"},
        {"negative.csv out.ptc", 1, "ptc: out.ptc: point 1 has a negative radius"},
        {"whole.gz out.ptc --from ply", 1, "ptc: whole.gz: it is no PLY file\n"},
        {"a.ptc no/such/folder.ptc", 1, "no/such/folder.ptc: No such file or directory\n"},
        {"a.ptc /dev/full --to csv", 1, "ptc: /dev/full: No space left on device\n"},
        {"a.ptc .", 2, "give --to"},
        {"a.ptc out.ply.gz", 2, "give --to"},
        {"a.ptc out.ptc --to jpeg", 2, "must be binary, text, gzip, ply, ply-ascii or csv"},
        {"a.ptc out.ptc --radius=-1", 2, "must be 0 or more"},
        {"a.ptc", 2, "OUT is required"},
    };
    for (const auto& tested : cases) {
        SCOPED_TRACE(tested.arguments);
        const ToolRun run = folder.Run(std::string("convert ") + tested.arguments);
        EXPECT_EQ(run.status, tested.status);
        EXPECT_NE(run.err.find(tested.reason), std::string::npos) << run.err;
        EXPECT_EQ(folder.Names(), before);
        EXPECT_EQ(folder.Content("out.ptc"), "an older file");
    }
    // A file size limit strikes in the middle of the points.
    for (const char* const out : {"out.ptc", "new.ply", "new.txt", "new.csv", "new.gz"}) {
        SCOPED_TRACE(out);
        const ToolRun run = folder.Run(
            std::string("info >/dev/null 2>&1; ulimit -f 40; '" PTC "' convert a.ptc ") + out);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find("File too large"), std::string::npos) << run.err;
        EXPECT_EQ(folder.Names(), before);
    }
}

// A disk that fills up at any byte fails the gzip sink, at the latest when it is closed.
TEST(PtcGzipSink, EveryDiskFullPointIsReported) {
    const std::string text(convert::GzipSink::kHeadBytes + 300, 'x');
    const auto write = [&](std::size_t room, DiskBytes disk) {
        convert::GzipSink sink(std::make_unique<FullDisk>(room, std::move(disk)));
        const bool is_written = sink.Write(std::as_bytes(std::span(text)));
        const bool is_closed = sink.Close();
        EXPECT_EQ(is_closed, sink.Error() == 0);
        return is_written && is_closed;
    };
    const DiskBytes disk = std::make_shared<DiskBytes::element_type>();
    ASSERT_TRUE(write(SIZE_MAX, disk));
    for (std::size_t room = 0; room < disk->size(); ++room)
        EXPECT_FALSE(write(room, std::make_shared<DiskBytes::element_type>())) << room;
}

}  // namespace
