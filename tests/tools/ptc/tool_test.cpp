// The ptc program as a user runs it: what it prints where, and its exit statuses.

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "tests/tools/run_tool.h"

using namespace sound_cloud;
using nlohmann::json;

namespace {

class PtcTool : public testing::Test {
protected:
    ToolFolder folder_;
};

TEST_F(PtcTool, FailureSaysWhyInOneLineAndLeavesEverythingAsItWas) {
    folder_.Write("sound.ptc", Bytes({kPoints, false}));
    folder_.Write("cut.ptc", Bytes({kPoints, false}).substr(0, kDataStart + 2 * kRecord));
    folder_.Write("alien.ptc", "no point cloud");
    folder_.Write("mesh.ply", "ply\nformat ascii 1.0\n");
    folder_.Write("bad.csv", "x,y,z\n1,2,3\n4,5,six\n");
    folder_.Write("long.csv", "x,y,z\n1,2,3,4\n");
    folder_.Write("negative.csv", "radius,x,y,z\n1,2,3,4\n-1,2,3,4\n");
    std::string text = Bytes({kPoints, false, TokenForm::kText});
    text[text.rfind("ptd")] = 'x';
    folder_.Write("damaged.txt", text);
    folder_.Write("long.ptc", Bytes({5000, false}));
    folder_.Write("out", "an older file");
    const auto before = folder_.Names();
    const struct {
        const char* arguments;
        int status;
        const char* reason;
    } cases[] = {
        {"info - < sound.ptc", 0, ""},
        {"print --range 5:1 sound.ptc", 0, ""},
        {"view - -o - --size 8x8 --background '#fF0010' --range -1:2.5 < sound.ptc", 0, ""},
        {"info mesh.ply", 1, "not a point cloud file; ptc convert --from ply makes one of it\n"},
        {"view bad.csv -o out", 1, "; ptc convert --from csv makes one of it\n"},
        {"convert mesh.ply out --from binary --to text", 1, "; ptc convert --from ply makes"},
        {"info absent.ptc sound.ptc", 1, "ptc: absent.ptc: No such file or directory\n"},
        {"print --range 6:1 sound.ptc", 1, "ptc: sound.ptc: the range begins at 6"},
        {"print --variables shine sound.ptc", 1, "ptc: sound.ptc: no variable \"shine\""},
        {"print cut.ptc", 1, "ptc: cut.ptc: point 2 of 5 is missing"},
        {"print sound.ptc > /dev/full", 1, "ptc: standard output: No space left on device"},
        {"print long.ptc > /dev/full", 1, "ptc: standard output: No space left on device"},
        {"check sound.ptc long.ptc >&-", 1, "ptc: standard output: Bad file descriptor"},
        {"--help > /dev/full", 1, "ptc: standard output: No space left on device\n"},
        {"repair --help > /dev/full", 1, "ptc: standard output: No space left on device\n"},
        {"repair alien.ptc out", 1, "ptc: alien.ptc: it is not a point cloud file\n"},
        {"repair cut.ptc .", 1, "ptc: .: Is a directory\n"},
        {"repair sound.ptc out > /dev/full", 1, "ptc: standard output: No space left on device\n"},
        {"repair - out <&-", 1, "ptc: standard input: Bad file descriptor\n"},
        {"convert sound.ptc - --to csv >&-", 1, "ptc: standard output: Bad file descriptor\n"},
        {"view sound.ptc -o - --size 8x8 >&-", 1, "ptc: standard output: Bad file descriptor\n"},
        {"convert cut.ptc out --to ply", 1, "ptc: cut.ptc: it is shorter than its number of"},
        {"convert bad.csv out --to gzip", 1, "ptc: bad.csv: line 3: \"six\" is no number\n"},
        {"convert long.csv out --to gzip", 1, "ptc: long.csv: line 2: more values than the 3"},
        {"convert negative.csv out --to text", 1, "ptc: out: point 1 has a negative radius"},
        {"convert sound.ptc out --from ply --to csv", 1, "ptc: sound.ptc: it is no PLY file\n"},
        {"convert sound.ptc no/out.ptc", 1, "ptc: no/out.ptc: No such file or directory\n"},
        {"convert sound.ptc /dev/full --to csv", 1, "ptc: /dev/full: No space left on device\n"},
        {"view alien.ptc -o out", 1, "ptc: alien.ptc: it is not a point cloud file\n"},
        {"view cut.ptc -o out", 1, "ptc: cut.ptc: "},
        {"view damaged.txt -o out", 1, "ptc: damaged.txt: point 4 of 5 is cut off or damaged\n"},
        {"view sound.ptc -o no/out", 1, "ptc: no/out: No such file or directory\n"},
        {"view sound.ptc -o /dev/full", 1, "ptc: /dev/full: No space left on device\n"},
        {"view sound.ptc -o out --variable nothing", 1, "ptc: sound.ptc: "},
        {"--version", 0, ""},
        {"", 2, ""},
        {"inof sound.ptc", 2, "inof: is no command; the nearest is info\n"},
        {"conv sound.ptc out", 2, "the nearest is convert\n"},
        {"draw sound.ptc", 2,
         "draw: is no command; there are info, print, check, repair, convert,"},
        {"print --range 1 sound.ptc", 2, ""},
        {"print --range -1:2 sound.ptc", 2, ""},
        {"print --nodes --range 0:1 sound.ptc", 2, ""},
        {"convert sound.ptc out.ply.gz", 2, "give --to"},
        {"convert sound.ptc out --to jpeg", 2, "must be binary, text, gzip, ply, ply-ascii or"},
        {"convert sound.ptc out --to csv --radius=-1", 2, "must be 0 or more"},
        {"convert sound.ptc out --to csv --scalar-prefix", 2, "works with PLY only"},
        {"view sound.ptc -o out --size 0x10", 2, ""},
        {"view sound.ptc -o out --size 10x10x", 2, ""},
        {"view sound.ptc -o out --range 2:1", 2, ""},
        {"view sound.ptc -o out --range nan:1", 2, ""},
        {"view sound.ptc -o out --background '#12345'", 2, ""},
        {"view sound.ptc -o out --camera none", 2, ""},
        {"view sound.ptc -o out --exposure nan", 2, ""},
        {"view sound.ptc -o sound.ptc", 2, "--output: must end in .png"},
        {"view sound.ptc -o out --camera file --tilt 4", 2, "not with --camera file"},
        {"view sound.ptc -o out --variable _area --exposure 1", 2, "--exposure: works with a col"},
        {"view sound.ptc -o out --variable glow_g --exposure 1", 2, "--exposure: works with a col"},
        {"view sound.ptc -o out --variable normal --range 0:1", 2, "--range: works with a number"},
    };
    for (const auto& [arguments, status, reason] : cases) {
        SCOPED_TRACE(arguments);
        const ToolRun run = folder_.Run(arguments);
        EXPECT_EQ(run.status, status) << run.err;
        EXPECT_EQ(run.err.empty(), status == 0) << run.err;
        EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
        EXPECT_TRUE(status == 2 || run.err.find('\n') + 1 == run.err.size()) << run.err;
        EXPECT_EQ(run.out.find("WARNING"), std::string::npos) << run.out;
        EXPECT_EQ(folder_.Names(), before);
        EXPECT_EQ(folder_.Content("out"), "an older file");
    }
}

TEST_F(PtcTool, InfoSaysInJsonWhatTheManualShows) {
    folder_.Write("qv.ptc", Bytes());
    const std::string manual = ContentOf("docs/tools.md");
    const std::size_t begin = manual.find("```json\n") + 8;
    EXPECT_EQ(json::parse(folder_.Run("info --json qv.ptc").out),
              json::parse(manual.substr(begin, manual.find("```", begin) - begin)));
}

/// Names are a caller's and a file's, and a terminal obeys some of their bytes.
TEST_F(PtcTool, NamesReachATerminalWithoutNewlinesAndControlBytes) {
    const std::string name = "a\n\x1b[2J\xc2\x9b\xff\xc3\xa9.ptc";
    std::string bytes = Bytes();
    Put(&bytes, bytes.find("glow"), std::array{'\x1b', '[', '2', 'J'});
    folder_.Write(name, bytes);
    Put(&bytes, bytes.find("float _area"), '\x1b');
    folder_.Write("bad-" + name, bytes);
    for (const char* arguments :
         {"info \"$n\"", "print \"$n\"", "print --variables no \"$n\"", "check \"$n\" \"bad-$n\"",
          "repair \"$n\" \"out-$n\"", "convert \"$n\" \"out-$n\" --to text",
          "convert \"$n\" out \"$n\"", "view \"$n\" -o out --variable \"$n\"",
          "stats \"$n\" --lookups 9"}) {
        SCOPED_TRACE(arguments);
        const ToolRun run =
            folder_.Run("--help >/dev/null; n='" + name + "'; " TOOL " " + arguments);
        const std::string said = run.out + run.err;
        // Rows of points do not name the file.
        const bool names_file = said.find("nx") == said.npos;
        const char* const shown =
            names_file ? "a\\n\\x1b[2J\\xc2\\x9b\\xff\xc3\xa9.ptc" : "\\x1b[2J_r";
        EXPECT_NE(said.find(shown), said.npos) << said;
        for (const char* bad : {"\x1b", "a\n", "\x9b", "\xff"})
            EXPECT_EQ(said.find(bad), said.npos) << said;
    }
}

TEST_F(PtcTool, InfoTellsStoredFromEffectiveAndSizesFromCounts) {
    std::string odd = Bytes({kPoints, false, TokenForm::kBinary, {20000, 480, 2}});
    Put(&odd, 16, std::numeric_limits<float>::quiet_NaN());
    folder_.Write("odd.ptc", odd.substr(0, odd.size() - 1));
    folder_.Write("text.ptc", Bytes({kPoints, true, TokenForm::kText}));
    const json list = json::parse(folder_.Run("info --json odd.ptc text.ptc absent.ptc").out);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]["format"]["stored"]["x_resolution"], 20000);
    EXPECT_EQ(list[0]["format"]["effective"]["x_resolution"], 640);
    EXPECT_EQ(list[0]["world_to_ndc"]["stored"][0], 1);
    EXPECT_NEAR(list[0]["world_to_ndc"]["effective"][0], 1.811, 1e-6);
    EXPECT_TRUE(list[0]["box"]["min"][0].is_null());
    EXPECT_EQ(list[0]["size"]["agrees"], false);
    EXPECT_EQ(list[0]["size"]["whole_points"], 4);
    EXPECT_EQ(list[1]["form"], "text");
    EXPECT_TRUE(list[1]["size"]["agrees"].is_null());
}

TEST_F(PtcTool, PrintShowsTheChosenPartOfTheChosenPoints) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText}) {
        folder_.Write("a.ptc", Bytes({kPoints, true, form}));
        EXPECT_EQ(folder_.Run("print --csv --range 2:2 --variables glow,position a.ptc").out,
                  "point,glow_r,glow_g,glow_b,x,y,z\n2,2,1,1,2,4,-2\n3,3,1.5,1,3,6,-3\n");
        EXPECT_EQ(folder_.Run("print --csv --range 4:9 --variables normal,radius,_area a.ptc").out,
                  "point,nx,ny,nz,radius,_area\n4,0.0078125,-3.7450704e-07,0.9999695,0.5,0.25\n");
    }
    std::istringstream lines(folder_.Run("print a.ptc").out);
    std::vector<std::size_t> lengths;
    for (std::string line; std::getline(lines, line);) lengths.push_back(line.size());
    EXPECT_EQ(lengths, std::vector<std::size_t>(1 + kPoints, lengths.at(0)));
}

TEST_F(PtcTool, PrintWalksTheOctreeFromTheRoot) {
    std::string bytes = Bytes();
    folder_.Write("a.ptc", bytes);
    EXPECT_EQ(folder_.Run("print --nodes --csv --variables weight a.ptc").out,
              "offset,depth,first_point,points,children,weight\n"
              "634,0,0,5,1:560 6:597,1.5\n560,1,0,2,,1.5\n597,1,2,3,,1.5\n");
    Put(&bytes, kRoot + 37, std::int64_t{kRoot});
    folder_.Write("circle.ptc", bytes);
    const ToolRun run = folder_.Run("print --nodes circle.ptc");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with("ptc: circle.ptc: 671: ")) << run.err;
}

// Forty faults of three kinds, of which fifteen are shown.
TEST_F(PtcTool, CheckShowsTheFirstFaultsOfEachKindAndCountsTheRest) {
    std::string bytes = Bytes({kPoints, false});
    for (std::size_t i = kDataStart; i < bytes.size(); i += 4) Put(&bytes, i, 0x7FC00000);
    folder_.Write("bad.ptc", bytes);
    folder_.Write("sound.ptc", Bytes());
    for (const auto& [arguments, lines] :
         {std::pair{"check sound.ptc bad.ptc", 17}, {"check --all bad.ptc sound.ptc", 42}}) {
        const ToolRun run = folder_.Run(arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.out.find("bad.ptc: 380: point 0: x nan is not finite\n"), std::string::npos);
        EXPECT_NE(run.out.find("point 0: radius nan is no radius\n"), std::string::npos);
        EXPECT_NE(run.out.find("bad.ptc: 40 faults"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find("sound.ptc: sound, 5 points, 3 nodes\n"), std::string::npos);
        EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), lines);
    }
}

TEST_F(PtcTool, RepairsPassThroughPipesOrReplaceTheFile) {
    folder_.Write("cut.ptc", Bytes({kPoints, false}) + "tail");
    const ToolRun run = folder_.Run("repair - - < cut.ptc | " TOOL " check -");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(folder_.Run("check cut.ptc").status, 1);
    EXPECT_EQ(folder_.Run("repair cut.ptc cut.ptc").status, 0);
    EXPECT_EQ(folder_.Content("cut.ptc"), Bytes({kPoints, false}));
}

}  // namespace
