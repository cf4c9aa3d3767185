// ptc pack, and members of zip archives where commands read files.

#include <sys/stat.h>

#include <fstream>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/zip_bytes.h"
#include "tests/tools/run_tool.h"

using namespace sound_cloud;

namespace {

class PackTool : public testing::Test {
protected:
    PackTool() {
        folder_.Write("sound.ptc", Bytes());
        folder_.Write("notes.txt", "nothing of a cloud");
    }
    ToolFolder folder_;
};

TEST_F(PackTool, PacksAndReadsAsTheTranscriptSays) {
    const std::string flat = Bytes({kPoints, false});
    folder_.Write("flat.ptc.gz", gzip_bytes::Whole(flat));
    folder_.Write("cut.ptc", flat.substr(0, kDataStart + 2 * kRecord));
    folder_.Write("empty.ptc", Bytes({0, false}));
    folder_.Write("sub/sound.ptc", "another one");
    folder_.Write("new.json", "{}");
    folder_.Write("sound.ptc.json", "mine");
    folder_.Write("folder.zip/sound.ptc", Bytes());
    const zip_bytes::Part sound{"deep/in/sound.ptc", Bytes()};
    std::vector<zip_bytes::Part> parts = {sound, {"deep/", ""}, {"../up.ptc", Bytes()}};
    parts.push_back({"inner.zip", zip_bytes::Archive({sound})});
    parts.push_back({"twice.ptc", Bytes()});
    parts.push_back({"twice.ptc", Bytes()});
    parts.push_back(zip_bytes::DeflatedPart("flat.gz", gzip_bytes::Whole(flat)));
    parts.push_back({"a\n\x1b[2J.ptc", ""});
    parts.push_back({"cloud.ply", "ply\nformat ascii 1.0\nelement vertex 0\nend_header\n"});
    folder_.Write("ARCHIVE.ZIP", zip_bytes::Archive(parts));
    folder_.Write("broken.zip", zip_bytes::Archive(parts).substr(0, 500));
    folder_.ExpectTranscript("ptc_pack.txt");
}

/// Every command reads through the same door; these are the ways up to it.
TEST_F(PackTool, EveryKindOfCommandReadsMembers) {
    ASSERT_EQ(folder_.Run("pack a.zip sound.ptc --no-picture --no-header").status, 0);
    ASSERT_EQ(folder_.Run("organize sound.ptc -o tree.ptc").status, 0);
    ASSERT_EQ(folder_.Run("pack t.zip tree.ptc --store").status, 0);
    for (const std::string arguments :
         {"check a.zip/sound.ptc", "print a.zip/sound.ptc", "find a.zip/sound.ptc 'x > 0'",
          "diff a.zip/sound.ptc sound.ptc", "repair a.zip/sound.ptc out",
          "edit a.zip/sound.ptc -o out --every 2", "convert a.zip/sound.ptc out.ply",
          "organize a.zip/sound.ptc -o out", "merge a.zip/sound.ptc t.zip/tree.ptc -o out",
          "query t.zip/tree.ptc --at 0,0,0", "stats t.zip/tree.ptc",
          "transfer t.zip/tree.ptc --onto a.zip/sound.ptc -o out --variables glow --replace",
          "view a.zip/sound.ptc -o out.png",
          "view a.zip/sound.ptc -o out.html --compare t.zip/tree.ptc"}) {
        const ToolRun run = folder_.Run(arguments);
        EXPECT_EQ(run.status, 0) << arguments << run.err;
    }
}

TEST_F(PackTool, MakesTheSameBytesOfTheSameFiles) {
    ASSERT_EQ(folder_.Run("pack a.zip sound.ptc notes.txt").status, 0);
    folder_.Write("elsewhere/sound.ptc", Bytes());
    const ToolRun again = folder_.Shell("TZ=Asia/Tokyo ptc pack - elsewhere/sound.ptc notes.txt");
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.out, folder_.Content("a.zip"));
    EXPECT_EQ(folder_.Shell("ptc view sound.ptc -o p.png; ptc view a.zip/sound.ptc -o q.png").err,
              "");
    EXPECT_NE(folder_.Content("a.zip").find(folder_.Content("p.png")), std::string::npos);
    EXPECT_EQ(folder_.Content("q.png"), folder_.Content("p.png"));
}

/// The archive has a hole that is larger than any disk that holds temporary files.
TEST_F(PackTool, RefusesAMemberThatHasNoRoomOnTheDisk) {
    constexpr std::uint64_t kHole = std::uint64_t{1} << 42;
    const zip_bytes::Part part{"huge.ptc", "", kHole, kHole, 0};
    const std::string local = zip_bytes::Local(part);
    const std::string entry = zip_bytes::Entry(part, 0);
    const std::uint64_t directory = local.size() + kHole;
    {
        std::ofstream file(folder_.Path("huge.zip"), std::ios::binary);
        file << local;
        file.seekp(static_cast<std::streamoff>(directory));
        file << entry << zip_bytes::LongEnd(1, entry.size(), directory, directory + entry.size());
        if (!file.flush()) GTEST_SKIP() << "files of 4 TB are not possible here";
    }
    const ToolRun run = folder_.Run("info huge.zip/huge.ptc");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(
        run.err.starts_with("ptc: huge.zip/huge.ptc: it takes 4398046511104 bytes, and "
                            "the folder for temporary files has "))
        << run.err;
}

}  // namespace
