// The program as its user meets it: exit status, messages, and what its options tell a driver.

#include <gtest/gtest.h>

#include <ostream>

#include "tests/tools/bake/host.h"

namespace {

struct FailureCase {
    std::string name;  // becomes the test's name
    std::string arguments;
    std::string message;
};
void PrintTo(const FailureCase& tested, std::ostream* out) {
    *out << tested.name;
}

class HostFails : public testing::TestWithParam<FailureCase> {};

TEST_P(HostFails, WithStatusOneAndOneLine) {
    const HostRun run = RunRecorded(ScratchFile("image-" + GetParam().name), GetParam().arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.find("pcbake: "), 0u) << run.err;
    EXPECT_NE(run.err.find(GetParam().message), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    EXPECT_EQ(run.out, "");
    std::remove(ScratchFile("image-" + GetParam().name).c_str());
}

INSTANTIATE_TEST_SUITE_P(
    Causes, HostFails,
    testing::Values(
        FailureCase{"OpenFails", "", "DspyImageOpen of "},
        FailureCase{"NoImage", "", "opened no image"},
        FailureCase{"QueryUnsupported", "", "driver recording_driver takes no deep data"},
        FailureCase{"QueryRefuses", "", "driver recording_driver takes no deep data"},
        FailureCase{"DeepDataFails", "", "DspyImageDeepData failed: bad parameters (3)"},
        FailureCase{"CloseFails", "", "DspyImageClose failed: undefined error (5)"},
        FailureCase{"FileVanishes", "", "the driver made no file"},
        FailureCase{"MissingMesh", "--mesh /nowhere/mesh.obj", "mesh /nowhere/mesh.obj: "},
        FailureCase{"MeshOfAnUnknownKind", "--mesh " RECORDING_DRIVER, "cannot read mesh"}),
    [](const auto& tested) { return tested.param.name; });

TEST(Host, SaysWhyADriverCannotBeLoaded) {
    // A name without a slash is a file here, not one of the system's libraries.
    for (const std::string driver : {"/nowhere/driver.so", "libm.so.6", NO_DRIVER}) {
        const HostRun run = RunHost("--driver " + driver);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find(driver), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }
    EXPECT_NE(RunHost("--driver " NO_DRIVER).err.find("it has no DspyImageOpen"),
              std::string::npos);
}

TEST(Host, RefusesMeshesWithoutAnArea) {
    const std::string meshes[] = {
        WriteScratch("point.off", "OFF\n3 1 0\n1 1 1\n1 1 1\n1 1 1\n3 0 1 2\n"),
        WriteScratch("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n"),
        WriteScratch("vertices.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n"),
    };
    for (const std::string& mesh : meshes) {
        const HostRun run = RunRecorded(ScratchFile("image"), "--mesh " + mesh);
        EXPECT_EQ(run.status, 1) << mesh;
        EXPECT_NE(run.err.find(mesh), std::string::npos) << run.err;
        std::remove(mesh.c_str());
    }
}

TEST(Host, AnswersTwoForWrongUsage) {
    for (const char* arguments :
         {"--no-such-option", "--rays 0", "--rays many", "--threads 0", "--grid 1", "--density 1",
          "--particles -1", "--size 10", "--size 0x5", "--size 5x5x5", "--min-dot 1.5",
          "--min-dot nan", "--max-dist -1", "--max-dist inf", "--max-diff nan", "--buffer-size 0",
          "--buffer-size 3000000000", "--turn 30"}) {
        const HostRun run = RunRecorded(ScratchFile("image"), arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_NE(run.err, "") << arguments;
    }
    EXPECT_EQ(RunHost("").status, 2);
    EXPECT_EQ(RunHost("--help").status, 0);
}

TEST(Host, SendsADriversParameterOnlyWhenItIsGiven) {
    struct {
        const char* option;
        const char* name;
        const char* entry;
    } const cases[] = {
        {"--eliminate-duplicates", "EliminateDuplicateGrids", "i 1 4 00000001"},
        {"--keep-duplicates", "EliminateDuplicateGrids", "i 1 4 00000000"},
        {"--simplify", "Simplify", "i 1 4 00000001"},
        {"--no-simplify", "Simplify", "i 1 4 00000000"},
        {"--raster-space", "RasterSpace", "i 1 4 00000001"},
        {"--max-dist 0.5", "MaxDist", "f 1 4 3f000000"},
        {"--min-dot -0.5", "MinDot", "f 1 4 bf000000"},
        {"--max-diff -1", "MaxDiff", "f 1 4 bf800000"},
        {"--buffer-size 2147483647", "BufferSize", "i 1 4 7fffffff"},
    };
    const Recording plain = Record("--density 2");
    EXPECT_EQ(plain.parameters.size(), 4u);
    EXPECT_EQ(plain.parameters.at("OriginalSize"), "f 2 8 43800000 43800000");
    EXPECT_EQ(plain.parameters.at("PixelAspectRatio"), "f 1 4 3f800000");
    for (const auto& [option, name, entry] : cases) {
        const Recording told = Record(std::string("--density 2 ") + option);
        EXPECT_EQ(told.parameters.size(), 5u) << option;
        EXPECT_EQ(told.parameters.count(name) ? told.parameters.at(name) : "absent", entry)
            << option;
    }
}

TEST(Host, DeclaresTheChannelsBehindABar) {
    std::vector<std::string> declared;
    for (const std::string& channel : Record("--density 2").channels) {
        EXPECT_GT(channel.find('|'), 0u);
        declared.push_back(channel.substr(channel.find('|')));
    }
    EXPECT_EQ(declared,
              (std::vector<std::string>{"|varying float _area", "|varying color _radiosity",
                                        "|varying float _occlusion"}));
}

TEST(Host, OpensOnceAndClosesOnceInTheFormThatIsAskedFor) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ(Record("--density 2 --size 300x200").other,
              (Lines{"open recording_driver 300 200 0", "ascii no", "close"}));
    EXPECT_EQ(Record("--density 2 --ascii").other,
              (Lines{"open recording_driver 256 256 0", "ascii yes", "close"}));
}

TEST(Host, EndsWithASummaryUnlessQuiet) {
    const std::string file = ScratchFile("image");
    const HostRun run = RunRecorded(file, "");
    const std::string recording = ReadFile(file);
    std::size_t grids = 0;
    for (std::size_t at = 0; (at = recording.find("\ngrid ", at)) != std::string::npos; ++at)
        ++grids;
    const std::string counted = "delivered  " + std::to_string(grids) + " grids";
    EXPECT_NE(run.out.find(counted), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(std::to_string(recording.size()) + " bytes"), std::string::npos);
    EXPECT_EQ(run.err, "") << "no bar in a pipe";

    const HostRun quiet = RunRecorded(file, "--quiet");
    EXPECT_EQ(quiet.out + quiet.err, "");
    std::remove(file.c_str());
}

}  // namespace
