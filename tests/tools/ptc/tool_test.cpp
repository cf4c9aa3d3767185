// The ptc program as a user runs it: what it prints where, and its exit statuses.

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/tools/ptc/sound_cloud.h"

using namespace sound_cloud;
using nlohmann::json;

namespace {

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

class PtcTool : public testing::Test {
protected:
    /// Runs the program in the scratch folder, `arguments` as a shell splits them.
    ToolRun Ptc(const std::string& arguments) const {
        const std::string command = "cd " + folder_.File("") + " && ( " PTC " " + arguments +
                                    " ) >" + output_.File("out") + " 2>" + output_.File("err");
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ContentOf(output_.File("out")),
                ContentOf(output_.File("err"))};
    }
    void Make(const std::string& name, const std::string& bytes) const {
        WriteTo(folder_.File(name), bytes);
    }

    ScratchFolder folder_;

private:
    ScratchFolder output_;
};

TEST_F(PtcTool, AnswersEachCallWithItsStatusAndOneLine) {
    Make("sound.ptc", Bytes());
    Make("cut.ptc", Bytes({kPoints, false}).substr(0, kDataStart + 2 * kRecord));
    Make("alien.ptc", "no point cloud");
    const struct {
        const char* arguments;
        int status;
        const char* line;  ///< begins standard error; null: nothing is there
    } cases[] = {
        {"info sound.ptc", 0, nullptr},
        {"info alien.ptc", 1, "ptc: alien.ptc: it is not a point cloud file\n"},
        {"info absent.ptc sound.ptc", 1, "ptc: absent.ptc: No such file or directory\n"},
        {"info - < sound.ptc", 0, nullptr},
        {"print sound.ptc", 0, nullptr},
        {"print --range 5:1 sound.ptc", 0, nullptr},
        {"print --range 6:1 sound.ptc", 1, "ptc: sound.ptc: the range begins at 6"},
        {"print --variables shine sound.ptc", 1, "ptc: sound.ptc: no variable \"shine\""},
        {"print cut.ptc", 1, "ptc: cut.ptc: point 2 of 5 is missing"},
        {"check sound.ptc", 0, nullptr},
        {"check sound.ptc cut.ptc", 1, nullptr},
        {"check absent.ptc", 1, "ptc: absent.ptc: No such file or directory\n"},
        {"repair cut.ptc whole.ptc", 0, nullptr},
        {"repair alien.ptc made.ptc", 1, "ptc: alien.ptc: it is not a point cloud file\n"},
        {"repair cut.ptc absent/made.ptc", 1, "ptc: absent/made.ptc: No such file or directory\n"},
        {"repair cut.ptc .", 1, "ptc: .: Is a directory\n"},
        {"print sound.ptc > /dev/full", 1, "ptc: standard output: No space left on device"},
        {"", 2, ""},
        {"info", 2, ""},
        {"view-all sound.ptc", 2, ""},
        {"print --range 1 sound.ptc", 2, ""},
        {"print --range -1:2 sound.ptc", 2, ""},
        {"print --nodes --range 0:1 sound.ptc", 2, ""},
        {"repair cut.ptc", 2, ""},
    };
    for (const auto& tested : cases) {
        SCOPED_TRACE(tested.arguments);
        const ToolRun run = Ptc(tested.arguments);
        EXPECT_EQ(run.status, tested.status) << run.err;
        EXPECT_EQ(run.err.empty(), tested.line == nullptr) << run.err;
        EXPECT_TRUE(run.err.starts_with(tested.line ? tested.line : "")) << run.err;
        EXPECT_LE(std::count(run.err.begin(), run.err.end(), '\n'), tested.status == 2 ? 9 : 1);
    }
    EXPECT_FALSE(std::filesystem::exists(folder_.File("made.ptc")));
}

TEST_F(PtcTool, InfoSaysInJsonWhatTheManualShows) {
    Make("qv.ptc", Bytes());
    const ToolRun run = Ptc("info --json qv.ptc");
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string manual = ContentOf("docs/tools.md");
    const std::size_t begin = manual.find("```json\n") + 8;
    EXPECT_EQ(json::parse(run.out),
              json::parse(manual.substr(begin, manual.find("```", begin) - begin)));
}

TEST_F(PtcTool, InfoTellsStoredFromEffectiveAndSizesFromCounts) {
    std::string odd = Bytes({kPoints, false, TokenForm::kBinary, {20000, 480, 2}});
    Put(&odd, 16, std::numeric_limits<float>::quiet_NaN());
    Make("odd.ptc", odd.substr(0, odd.size() - 1));
    Make("text.ptc", Bytes({kPoints, true, TokenForm::kText}));
    const json list = json::parse(Ptc("info --json odd.ptc text.ptc absent.ptc").out);
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
    EXPECT_TRUE(list[1]["bytes_per_point"].is_null());
}

TEST_F(PtcTool, PrintShowsTheChosenPartOfTheChosenPoints) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText}) {
        Make("a.ptc", Bytes({kPoints, true, form}));
        EXPECT_EQ(Ptc("print --csv --range 2:2 --variables glow,position a.ptc").out,
                  "point,glow_r,glow_g,glow_b,x,y,z\n2,2,1,1,2,4,-2\n3,3,1.5,1,3,6,-3\n");
        EXPECT_EQ(Ptc("print --csv --range 4:9 --variables normal,radius,_area a.ptc").out,
                  "point,nx,ny,nz,radius,_area\n4,0.0078125,-3.7450704e-07,0.9999695,0.5,0.25\n");
    }
    std::istringstream lines(Ptc("print a.ptc").out);
    std::vector<std::size_t> lengths;
    for (std::string line; std::getline(lines, line);) lengths.push_back(line.size());
    EXPECT_EQ(lengths, std::vector<std::size_t>(1 + kPoints, lengths.at(0)));
}

TEST_F(PtcTool, PrintWalksTheOctreeFromTheRoot) {
    Make("a.ptc", Bytes());
    EXPECT_EQ(Ptc("print --nodes --csv --variables weight a.ptc").out,
              "offset,depth,first_point,points,children,weight\n"
              "634,0,0,5,1:560 6:597,1.5\n560,1,0,2,,1.5\n597,1,2,3,,1.5\n");
    std::string circle = Bytes();
    Put(&circle, kRoot + 37, std::int64_t{kRoot});
    Make("circle.ptc", circle);
    const ToolRun run = Ptc("print --nodes circle.ptc");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with("ptc: circle.ptc: 671: ")) << run.err;
}

TEST_F(PtcTool, CheckShowsTheFirstFaultsAndCountsTheRest) {
    std::string bytes = Bytes({kPoints, false});
    for (std::size_t i = kDataStart; i < bytes.size(); i += 4) Put(&bytes, i, 0x7FC00000);
    Make("bad.ptc", bytes);
    const auto lines = [&](const std::string& arguments) {
        const ToolRun run = Ptc(arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.out.find("bad.ptc: 380: point 0: x nan is not finite\n"), std::string::npos);
        EXPECT_NE(run.out.find("bad.ptc: 40 faults"), std::string::npos) << run.out;
        return std::count(run.out.begin(), run.out.end(), '\n');
    };
    EXPECT_EQ(lines("check bad.ptc"), 21);
    EXPECT_EQ(lines("check --all bad.ptc"), 41);
}

TEST_F(PtcTool, StreamsPassThroughPipes) {
    Make("cut.ptc", Bytes({kPoints, false}) + "tail");
    const ToolRun run = Ptc("repair - - < cut.ptc | " PTC " check -");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(Ptc("check cut.ptc").status, 1);
    EXPECT_EQ(Ptc("repair cut.ptc cut.ptc").status, 0);
    EXPECT_EQ(ContentOf(folder_.File("cut.ptc")), Bytes({kPoints, false}));
}

}  // namespace
