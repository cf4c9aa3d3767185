// The ptc program as a user runs it: what it prints where, and its exit statuses.

#include <new>
#include <nlohmann/json.hpp>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/failing_new.h"
#include "tests/support/scratch.h"
#include "tests/tools/run_tool.h"
#include "tools/ptc/inspect/info_json.h"

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
    std::string lying = Bytes();
    Put(&lying, kEnd - 8, std::int64_t{400});  // a child among the points
    folder_.Write("lying.ptc", lying);
    folder_.Write("out", "an older file");
    const auto before = folder_.Names();
    folder_.ExpectTranscript("ptc_failures.txt", [&] {
        EXPECT_EQ(folder_.Names(), before);
        EXPECT_EQ(folder_.Content("out"), "an older file");
    });
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
    setenv("n", name.c_str(), 1);
    folder_.ExpectTranscript("ptc_names.txt");
}

TEST_F(PtcTool, ReportsAreThoseOfTheTranscript) {
    const std::string sound = Bytes();
    std::string odd = Bytes({kPoints, false, TokenForm::kBinary, {20000, 480, 2}});
    Put(&odd, 16, std::numeric_limits<float>::quiet_NaN());
    folder_.Write("odd.ptc", odd.substr(0, odd.size() - 1));
    std::string circle = sound, bad = Bytes({kPoints, false});
    Put(&circle, kRoot + 37, std::int64_t{kRoot});
    for (std::size_t i = kDataStart; i < bad.size(); i += 4) Put(&bad, i, 0x7FC00000);
    folder_.Write("circle.ptc", circle);
    folder_.Write("bad.ptc", bad);
    folder_.Write("sound.ptc", sound);
    folder_.Write("long.ptc", sound + "tail");
    folder_.Write("text.ptc", Bytes({kPoints, true, TokenForm::kText}));
    folder_.Write("lagging.ptc", Bytes({kPoints, false}) + "tail");
    folder_.Write("flat.ptc", Bytes({kPoints, false}));
    folder_.Write("flat.txt", Bytes({kPoints, false, TokenForm::kText}));
    folder_.ExpectTranscript("ptc_reports.txt");
}

/// Names of streams and of temporary files are not a user's, and are not moved.
TEST_F(PtcTool, NamesOfOtherZonesAreThoseOfFilesHere) {
    folder_.Write("lumenarc.ini", "/dirmap/zone * /other/ .\n/dirmap/zone * / nowhere\n");
    folder_.Write("sound.ptc", Bytes());
    folder_.ExpectTranscript("ptc_zones.txt");
}

int allocations_left = 0;  // before one fails

TEST(PtcInfoJson, EveryFailedAllocationComesOutAsOne) {
    const ScratchFolder folder;
    std::string why;
    const std::string file = WriteTo(folder.File("a.ptc"), Bytes());
    const auto cloud = OpenCloud(file.c_str(), &why);
    ASSERT_TRUE(cloud) << why;
    const HeaderFacts facts = FactsOf("a.ptc", *cloud);
    int failures = 0;
    for (bool is_done = false; !is_done; failures += !is_done) {
        allocations_left = failures;
        new_fails = [] { return allocations_left-- == 0; };
        try {
            (void)InfoJson(facts, {});
            is_done = true;
        } catch (const std::bad_alloc&) {
        }
        new_fails = nullptr;
    }
    EXPECT_GT(failures, 10);
}

}  // namespace
