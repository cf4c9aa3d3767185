// ptc repair: what is kept, byte for byte, and what the new header says.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"
#include "tools/common/failure.h"
#include "tools/ptc/inspect/cloud_repair.h"

using namespace sound_cloud;

namespace {

struct Repaired {
    RepairReport report;
    std::string bytes;
};

Repaired Repair(const std::string& damaged) {
    static const ScratchFolder folder;
    const std::string out = folder.File("out.ptc");
    const InputFile input(WriteTo(folder.File("in.ptc"), damaged), InputFile::Gzip::kInflated);
    OutputFile output(out);
    Repaired repaired{RepairCloud(input, output), {}};
    repaired.bytes = ContentOf(output.Path());
    return repaired;
}

/// How many points are whole in the first `cut` bytes of a text file.
std::size_t WholeTextPoints(const std::string& bytes, std::size_t cut) {
    std::size_t whole = 0;
    for (std::size_t at = bytes.find("ptd "); at != bytes.npos; at = bytes.find("ptd ", at + 1))
        if (bytes.find('\n', at) < cut) ++whole;
    return whole;
}

TEST(Repair, KeepsTheWholePointsOfAFileCutAtAnyByte) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText}) {
        constexpr std::size_t kFew = 3;
        const std::string bytes = Bytes({kFew, false, form});
        const std::size_t header = Bytes({0, false, form}).size();
        for (std::size_t cut = 0; cut < header; cut += form == TokenForm::kText ? 100 : 1)
            EXPECT_THROW(Repair(bytes.substr(0, cut)), Failure) << cut;
        for (std::size_t cut = header; cut <= bytes.size(); ++cut) {
            SCOPED_TRACE(cut);
            const std::size_t whole =
                form == TokenForm::kText ? WholeTextPoints(bytes, cut) : (cut - header) / kRecord;
            const Repaired repaired = Repair(bytes.substr(0, cut));
            EXPECT_EQ(repaired.bytes, Bytes({whole, false, form}));
            EXPECT_EQ(repaired.report.kept, static_cast<std::int64_t>(whole));
            EXPECT_EQ(repaired.report.counted, static_cast<std::int64_t>(kFew));
        }
    }
}

TEST(Repair, CountsWhatALaggingHeaderDoesNot) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText}) {
        std::string bytes = Bytes({kPoints, false, form});
        const std::string empty = Bytes({0, false, form});
        // No normal is coded so, and no computation keeps this number that is none.
        const std::size_t point = kDataStart + kRecord;
        if (form == TokenForm::kBinary) {
            Put(&bytes, point + 12, 0xFFFF0001U);
            Put(&bytes, point + 20, 0x7F800123U);
        }
        // The head and the block of a file whose writing stopped before the first checkpoint.
        const std::size_t block =
            empty.find(form == TokenForm::kText ? "world_to_eye" : "\xbf\xad");
        const Repaired repaired = Repair(empty.substr(0, block) + bytes.substr(block));
        EXPECT_EQ(repaired.bytes, bytes);
        EXPECT_EQ(repaired.report.unsound, form == TokenForm::kBinary ? 1 : 0);
    }
}

TEST(Repair, KeepsAnOctreeOnlyWhenAllOfItIsSound) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText}) {
        const std::string bytes = Bytes({kPoints, true, form});
        const Repaired kept = Repair(bytes);
        EXPECT_EQ(kept.bytes, bytes);
        EXPECT_EQ(kept.report.octree, RepairReport::Octree::kKept);

        const Repaired dropped = Repair(bytes.substr(0, bytes.size() - 1));
        EXPECT_EQ(dropped.bytes, Bytes({kPoints, false, form}));
        EXPECT_EQ(dropped.report.octree, RepairReport::Octree::kDropped);
    }
}

TEST(Repair, KeepsOlderVersions) {
    const std::string bytes = Bytes({kPoints, false});
    std::string version1 = bytes.substr(0, 56) + bytes.substr(188);
    Put(&version1, 4, 1);
    EXPECT_EQ(Repair(version1 + "tail").bytes, version1);
    std::string version0 =
        bytes.substr(0, 40) + bytes.substr(188, 359 - 188) + bytes.substr(kDataStart);
    Put(&version0, 4, 0);
    EXPECT_EQ(Repair(version0 + "tail").bytes, version0);
}

TEST(Repair, SavesWhatABrokenGzipFileStillHolds) {
    const std::string bytes = Bytes();
    const std::string compressed = gzip_bytes::Stored(bytes);
    EXPECT_EQ(Repair(compressed).bytes, bytes);

    const std::size_t gone = bytes.size() - (kDataStart + 2 * kRecord + 7);
    const std::size_t trailer = 8;
    EXPECT_EQ(Repair(compressed.substr(0, compressed.size() - trailer - gone)).bytes,
              Bytes({2, false}));
}

/// Whatever a damaged file still says comes out; bytes that are no member are none of the file's.
TEST(InputFile, InflatesEveryMemberAndIgnoresWhatFollows) {
    const ScratchFolder folder;
    const std::string a = gzip_bytes::Whole("one");
    const std::string b = gzip_bytes::Whole(std::string(300'000, 'x'));
    const std::string all = "one" + std::string(300'000, 'x');
    std::string wrong = a;
    wrong[wrong.size() - 8] ^= 1;  // of the checksum
    const struct {
        std::string stored, inflated;
        bool breaks_off;
    } cases[] = {
        {a + b, all, false},
        {a + b + "\x1f", all, false},
        {a + std::string(5, '\0') + b, "one", false},
        {a + b.substr(0, 2), "one", true},
        {a + b.substr(0, b.size() - 1), all, true},
        {wrong, "one", true},
        {"\x1f\x8b", "", true},
        {"\x1f", "\x1f", false},
        {"", "", false},
    };
    for (const auto& [stored, inflated, breaks_off] : cases) {
        SCOPED_TRACE(testing::PrintToString(stored.substr(0, 40)) + std::to_string(stored.size()));
        const InputFile file(WriteTo(folder.File("a"), stored), InputFile::Gzip::kInflated);
        EXPECT_TRUE(ContentOf(file.Path()) == inflated);
        EXPECT_EQ(file.BrokeOff(), breaks_off);
    }
}

TEST(OutputFile, LeavesWhatWasThereUntilItIsWhole) {
    namespace fs = std::filesystem;
    const ScratchFolder folder;
    const std::string file = WriteTo(folder.File("file"), "old"), link = folder.File("link");
    const auto mode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    fs::permissions(file, mode);
    fs::create_symlink("file", link);
    { WriteTo(OutputFile(link).Path(), "half"); }
    EXPECT_EQ(ContentOf(file), "old");

    OutputFile output(link);
    WriteTo(output.Path(), "new");
    EXPECT_EQ(ContentOf(file), "old");
    output.Commit();
    EXPECT_EQ(ContentOf(file), "new");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::status(file).permissions(), mode);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.File("")), fs::directory_iterator()), 2);

    // A link to nothing is followed, too; links in a circle lead nowhere.
    fs::remove(file);
    fs::create_symlink("link", folder.File("far"));
    OutputFile(folder.File("far")).Commit();
    EXPECT_TRUE(fs::is_symlink(folder.File("far")) && fs::is_symlink(link));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file)));
    fs::remove(file);
    fs::create_symlink("far", file);
    EXPECT_THROW(OutputFile{file}, Failure);
}

}  // namespace
