// The program as its user meets it: exit status, messages, and what its options tell a driver.

#include <cctype>

#include "tests/tools/bake/recording.h"

namespace {

TEST(Host, FailsInOneLine) {
    const ToolFolder folder;
    folder.Write("empty.off", "");
    folder.Write("point.off", "OFF\n3 1 0\n1 1 1\n1 1 1\n1 1 1\n3 0 1 2\n");
    folder.Write("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    folder.Write("promise.off", "OFF\n3 30000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    folder.Write("vertices.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    const struct {
        const char* file;  // the end of its name is what the driver does wrong
        const char* arguments;
        const char* message;
    } cases[] = {
        {"a-OpenFails", "", "DspyImageOpen of a-OpenFails failed: no resource (4)"},
        {"a-NoImage", "", "opened no image"},
        {"a-QueryUnsupported", "", "driver recording_driver takes no deep data"},
        {"a-QueryRefuses", "", "driver recording_driver takes no deep data"},
        {"a-DeepDataFails", "", "DspyImageDeepData failed: bad parameters (3)"},
        {"a-CloseFails", "", "DspyImageClose failed: undefined error (5)"},
        {"a-FileVanishes", "", "the driver made no file"},
        {"a", "--mesh no/mesh.obj", "mesh no/mesh.obj: "},
        {"a", "--mesh " RECORDING_DRIVER, "cannot read mesh"},
        {"a", "--mesh point.off", "mesh point.off: no triangle has an area"},
        {"a", "--mesh line.obj", "mesh line.obj: no triangle has an area"},
        {"a", "--mesh vertices.obj", "mesh vertices.obj: points only"},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        // Sanitizers take their address space in advance: no bound holds for what is in it.
        {"a", "--mesh promise.off", "mesh promise.off: takes more memory than the file"},
#endif
        {"a", "--driver no/driver.so", "no/driver.so"},
        // A name without a slash is a file here, not one of the system's libraries.
        {"a", "--driver libm.so.6", "./libm.so.6"},
        {"a", "--driver " NO_DRIVER, NO_DRIVER " is no display driver: it has no DspyImageOpen"},
    };
    for (const auto& [file, arguments, message] : cases) {
        const ToolRun run = Bake(folder, file, arguments);
        EXPECT_EQ(run.status, 1) << message;
        EXPECT_TRUE(run.err.starts_with("pcbake: ")) << run.err;
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err << message;
        EXPECT_EQ(run.err.find('\n') + 1, run.err.size()) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

TEST(Host, AnswersTwoForWrongUsage) {
    const ToolFolder folder;
    for (const char* arguments : {"--no-such-option",
                                  "--rays 0",
                                  "--rays many",
                                  "--threads 0",
                                  "--grid 1",
                                  "--density 1",
                                  "--particles -1",
                                  "--size 10",
                                  "--size 0x5",
                                  "--size 5x5x5",
                                  "--min-dot 1.5",
                                  "--min-dot nan",
                                  "--max-dist -1",
                                  "--max-dist inf",
                                  "--max-diff nan",
                                  "--buffer-size 0",
                                  "--buffer-size 3000000000",
                                  "--turn 30",
                                  "--flip",
                                  "--mesh a --flip --two-sided"}) {
        const ToolRun run = Bake(folder, "a", arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_NE(run.err, "") << arguments;
    }
    EXPECT_EQ(folder.Run("").status, 2);
    EXPECT_EQ(folder.Run("--help").status, 0);
    const std::string version = folder.Run("--version").out;
    EXPECT_TRUE(version.starts_with("pcbake ") && std::isdigit(version[7])) << version;
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
