// ptc convert: what a cloud keeps on its way through every form, and what a full disk leaves.

#include <sys/resource.h>

#include <random>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "tests/tools/run_tool.h"
#include "tools/ptc/convert/gzip_sink.h"

namespace {

/// Puts a cloud of `count` points with any codes and, in two variables, any finite floats into
/// "a.ptc"; a repair counts them and finds their box.
std::string WriteRandomCloud(const ToolFolder& folder, int count) {
    std::string bytes = sound_cloud::Bytes({0, false});
    std::mt19937 random(7);
    std::array<std::uint32_t, 9> record;  // x y z, codes, radius, four floats
    for (int i = 0; i < count; ++i) {
        for (std::uint32_t& word : record) word = static_cast<std::uint32_t>(random());
        for (const std::size_t value : {0u, 1u, 2u, 4u, 5u, 6u, 7u, 8u})
            record[value] = (record[value] & 0x80FFFFFF) | (0x38 + record[value] % 16) << 24;
        record[4] &= 0x7FFFFFFF;  // a radius
        if (i % 100 == 0) record[3] = 0xFFFFFFFF;
        bytes.append(reinterpret_cast<const char*>(record.data()), sizeof record);
    }
    folder.Write("a.ptc", bytes);
    EXPECT_EQ(folder.Run("repair a.ptc a.ptc").status, 0);
    return folder.Content("a.ptc");
}

// The points' header lines are rewritten at 250,000 points and at the end, in every form.
TEST(PtcConvert, LongWayRoundKeepsCountsCodesAndDigitsInLittleMemory) {
    const ToolFolder folder;
    WriteRandomCloud(folder, 260'001);
    folder.Convert("a.ptc b.txt");
    folder.Convert("b.txt c.txt.gz");
    folder.Convert("c.txt.gz d.ply");
    folder.Convert("d.ply e.ptc");
    folder.Convert("e.ptc f.txt");
    // The box is around the points as they are in the file, so its last digit may differ.
    const auto behind_box = [&](const char* name) {
        const std::string text = folder.Content(name);
        return text.substr(text.find("nnodes"));
    };
    EXPECT_TRUE(behind_box("b.txt") == behind_box("f.txt"));

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    rusage children{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &children), 0);
    EXPECT_LT(children.ru_maxrss, 50 * 1024) << "KB at most in any run";
#endif
}

TEST(PtcConvert, EveryWayThereAndBackKeepsEveryByte) {
    const struct {
        const char* to;     // arguments behind the first file's name
        const char* back;   // and of the way back
        bool keeps_header;  // a table has no place for it
    } ways[] = {
        {"- --to gzip | cat >c", "- - --to binary <c | cat >b.ptc", true},
        {"c.ply", "c.ply b.ptc", true},
        {"c --to ply-ascii", "c b.ptc --from ply-ascii", true},
        {"c.csv", "c.csv d.ply && ptc convert d.ply b.ptc", false},
    };
    for (const int points : {0, 1, 5000}) {
        const ToolFolder folder;
        const std::string cloud = WriteRandomCloud(folder, points);
        for (const auto& [to, back, keeps_header] : ways) {
            folder.Convert(std::string("a.ptc ") + to);
            EXPECT_EQ(folder.Run(std::string("convert ") + back).status, 0);
            const std::size_t from = keeps_header ? 0 : sound_cloud::kDataStart;
            EXPECT_TRUE(folder.Content("b.ptc").ends_with(cloud.substr(from))) << points << to;
        }
    }
}

TEST(PtcConvert, AFailureInTheMidstOfThePointsLeavesEverythingAsItWas) {
    const ToolFolder folder;
    WriteRandomCloud(folder, 3000);
    folder.Convert("a.ptc cut.gz");
    folder.Write("cut.gz", folder.Content("cut.gz").substr(0, 50'000));
    folder.Write("out.ptc", "an older file");
    const auto before = folder.Names();
    for (const std::string arguments : {"cut.gz out.ptc", "a.ptc out.ptc", "a.ptc new.ply",
                                        "a.ptc new.txt", "a.ptc new.csv", "a.ptc new.gz"}) {
        // A file size limit stands for the full disk.
        const ToolRun run = folder.Shell("ulimit -f 40; ptc convert " + arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err.find("ptc: cut.gz: ") != run.err.npos, arguments.starts_with("cut"));
        EXPECT_EQ(run.err.find("File too large") != run.err.npos, arguments.starts_with("a.ptc"));
        EXPECT_EQ(folder.Names(), before);
        EXPECT_EQ(folder.Content("out.ptc"), "an older file");
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
