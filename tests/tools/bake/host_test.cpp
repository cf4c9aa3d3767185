// The program as its user meets it: exit status, messages, and what its options tell a driver.

#include "tests/tools/bake/recording.h"

namespace {

TEST(Host, SaysWhatFailedOrIsWrongUsage) {
    const ToolFolder folder;
    folder.Write("empty.off", "");
    folder.Write("point.off", "OFF\n3 1 0\n1 1 1\n1 1 1\n1 1 1\n3 0 1 2\n");
    folder.Write("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    folder.Write("promise.off", "OFF\n3 30000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    folder.Write("vertices.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    setenv("OPTIONS", "--driver ./recording_driver.so --density 24 --rays 2 --output", 1);
    std::filesystem::create_symlink(RECORDING_DRIVER, folder.Path("recording_driver.so"));
    std::filesystem::create_symlink(NO_DRIVER, folder.Path("no_driver.so"));
    folder.ExpectTranscript("bake_failures.txt");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // Sanitizers take their address space in advance: no bound holds for what is in it.
    const ToolRun run = Bake(folder, "a", "--mesh promise.off");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("mesh promise.off: takes more memory than the file"), run.err.npos);
#endif
}

/// The folder of installed drivers is another one on every machine, and passed over here.
TEST(Host, LooksDriversUpAlongAPathAndListsThem) {
    const ToolFolder folder;
    setenv("OPTIONS", "--density 24 --rays 2 --quiet --output a", 1);
    const auto link = [&](const char* driver, const char* name) {
        std::filesystem::create_directories(std::filesystem::path(folder.Path(name)).parent_path());
        std::filesystem::create_symlink(driver, folder.Path(name));
    };
    link(RECORDING_DRIVER, "site/d_record.so");
    link(RECORDING_DRIVER, "site/plain.so");
    link(RECORDING_DRIVER, "site/d_plain.so");
    link(BREAKING_DRIVER, "site/d_break.so");
    link(NO_DRIVER, "site/none.so");
    link(RECORDING_DRIVER, "other/d_record.so");
    link(RECORDING_DRIVER, "other/d_text.so");
    link(RECORDING_DRIVER, "d_record.so");
    folder.Write("site/d_text.so", std::string(5000, 't'));
    folder.Write("site/text", "a file");
    folder.Write("lumenarc.ini", "/dirmap/zone * /zone .\n");
    folder.ExpectTranscript("bake_drivers.txt");
}

TEST(Host, TellsTheDriverAllOfItsParametersButNoneThatIsNotGiven) {
    using Lines = std::vector<std::string>;
    const auto calls = [](const std::string& arguments) {
        Lines lines = Record("--density 2 " + arguments).calls;
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("N"); });
        return lines;
    };
    const Lines plain = {"open recording_driver 256 256 binary",
                         "OriginalSize f 8 256 256",
                         "PixelAspectRatio f 4 1",
                         "channel |varying float _area",
                         "channel |varying color _radiosity",
                         "channel |varying float _occlusion",
                         "channel |varying color _reflected",
                         "close"};
    EXPECT_EQ(calls(""), plain);
    EXPECT_EQ(calls("--ascii --size 300x200").front(), "open recording_driver 300 200 ascii");
    const std::pair<const char*, const char*> options[] = {
        {"--eliminate-duplicates", "EliminateDuplicateGrids i 4 1"},
        {"--keep-duplicates", "EliminateDuplicateGrids i 4 0"},
        {"--simplify", "Simplify i 4 1"},
        {"--no-simplify", "Simplify i 4 0"},
        {"--raster-space", "RasterSpace i 4 1"},
        {"--max-dist 0.5", "MaxDist f 4 0.5"},
        {"--min-dot -0.5", "MinDot f 4 -0.5"},
        {"--max-diff -1", "MaxDiff f 4 -1"},
        {"--buffer-size 2147483647", "BufferSize i 4 2147483647"},
    };
    for (const auto& [option, line] : options) {
        Lines told = plain;
        told.insert(told.begin() + 3, line);
        EXPECT_EQ(calls(option), told);
    }
}

TEST(Host, EndsWithASummaryUnlessQuiet) {
    const ToolFolder folder;
    const ToolRun run = Bake(folder, "a", "");
    const std::string counted = "delivered  " + std::to_string(Record("").grids.size()) + " grids";
    EXPECT_NE(run.out.find(counted), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(std::to_string(folder.Content("a").size()) + " bytes"),
              std::string::npos);
    EXPECT_EQ(run.err, "") << "no bar in a pipe";
    const ToolRun quiet = Bake(folder, "a", "--quiet");
    EXPECT_EQ(quiet.out + quiet.err, "");
}

}  // namespace
