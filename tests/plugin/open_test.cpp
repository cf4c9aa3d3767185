// Opening through the exported functions: parameters, channels, answers.

#include <algorithm>
#include <numeric>

#include "tests/plugin/baked.h"

namespace {

std::vector<float> Matrix(float first) {
    std::vector<float> values(16);
    std::iota(values.begin(), values.end(), first);
    return values;
}

/// The second element of both matrices, and the format.
std::vector<float> HeaderOf(const CloudFile& file) {
    std::vector<float> values;
    for (const std::size_t at : {192u, 256u, 316u, 320u, 324u})
        values.push_back(file.At<float>(at));
    return values;
}

TEST(Plugin, ParametersAndChannelsReachTheHeader) {
    const Plugin stays_loaded;
    HostParameters parameters;
    parameters.Floats("Nl", Matrix(1)).Floats("NP", Matrix(100)).Floats("OriginalSize", {320, 240});
    parameters.Float("PixelAspectRatio", 0.5f);
    CloudFile file = Baked({"a|varying float _area", "b|color glow.001", "|normal .x",
                            "e|varying point p extra words"},
                           parameters, {});
    EXPECT_EQ(HeaderOf(file), (std::vector<float>{2, 101, 320, 240, 0.5f}));
    EXPECT_EQ(file.DataSize(), 10);
    EXPECT_EQ(file.Declarations(),
              (std::vector<std::string>{"float _area", "color glow", "normal ", "point p"}));

    // The size stays from one open to the next, the ratio and the matrices do not.
    file = Baked({"x|float _none"}, {}, {});
    EXPECT_EQ(file.At<float>(188), 1.0f);
    EXPECT_EQ(HeaderOf(file), (std::vector<float>{0, 0, 320, 240, 0}));
    EXPECT_EQ(file.PointVariables(), 0);
    EXPECT_EQ(Baked({"|float _none", "|float _none"}, {}, {}).PointVariables(), 2);
}

TEST(Plugin, RefusedOpensSayWhyAndStoreNoHandle) {
    const ScratchFolder folder;
    const Plugin plugin;
    const std::string name = folder.File("a"), absent = folder.File("no/a"),
                      itself = folder.File("");
    const std::string longest(4095, 'n');
    const std::string no_bar = "Bad type declaration - missing DisplayChannel?";
    const HostChannels good = {"x|float a"};
    const auto impossible = [](const std::string& type) {
        return "variable of type '" + type + "' has an impossible size";
    };
    const struct {
        std::string file;
        HostChannels channels;
        int code;
        std::string error;
    } rows[] = {
        {name, {"float a"}, kDspyUndefined, ""},
        {name, {"x|bogus a", "float a"}, kDspyUndefined, ""},  // before anything is told
        {name, {"x|float"}, kDspyBadParameters, no_bar},
        {name, {"x|float a", "x| \t "}, kDspyBadParameters, no_bar},
        {name, {"x|color[-2] a"}, kDspyBadParameters, impossible("color[-2]")},
        {name, {"x|color[6000000] a"}, kDspyBadParameters, impossible("color[6000000]")},
        {longest + "n", good, kDspyBadParameters, "file name too long"},
        {longest, good, kDspyNoResource, "cannot create '" + longest + "': File name too long"},
        {absent, good, kDspyNoResource,
         "cannot create '" + absent + "': No such file or directory"},
        {folder.File("no/\033[2Ja\n"), good, kDspyNoResource,
         "cannot create '" + absent.substr(0, absent.size() - 1) +
             "\\x1b[2Ja\\n': No such file or directory"},
        {"", good, kDspyNoResource, "cannot create '': No such file or directory"},
        {itself, good, kDspyNoResource, "cannot create '" + itself + "': Is a directory"},
        {"/dev/full", good, kDspyNoResource, "cannot create '/dev/full': No space left on device"},
    };
    for (const auto& row : rows) {
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        int code = -1;
        EXPECT_EQ(OpenImageOf(plugin, row.file, row.channels, {}, &code), nullptr);
        fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout().empty(),
                  row.error.find("impossible") == std::string::npos);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  row.error.empty() ? "" : "test:  " + row.error + "\n");
        EXPECT_EQ(code, row.code) << row.error;
    }
}

TEST(Plugin, ADriverWithoutANamePrintsNothing) {
    const Plugin plugin;
    HostChannels channels = {"x|float a"};
    void* image = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(plugin.open(&image, nullptr, "/dev/full", 1, 1, 0, nullptr, 1, channels.List().data(),
                          nullptr),
              kDspyNoResource);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Plugin, UnknownTypesAreToldAndGoOn) {
    testing::internal::CaptureStdout();
    const CloudFile file = Baked({"|varying float[3] f", "|bogus b"}, {}, {});
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "error: unknown variable type 'float[3]' in pointcloud display driver\n"
              "error: unknown variable type 'bogus' in pointcloud display driver\n"
              "Unknown type 'bogus' !?\n");
    EXPECT_EQ(file.DataSize(), 3);
}

TEST(Plugin, FormatsAreAskedForInLittleEndianOrderAndQueriesAnsweredWithinTheirRoom) {
    const ScratchFolder folder;
    const Plugin plugin;
    HostChannels channels = {"|float a", "|float b"};
    void* image = nullptr;
    ASSERT_EQ(plugin.open(&image, "test", folder.File("a.ptc").c_str(), 1, 1, 0, nullptr, 2,
                          channels.List().data(), nullptr),
              kDspySuccess);
    for (const DspyFormat& format : channels.List()) EXPECT_EQ(format.type, 0x4001u);
    plugin.close(image);

    for (const int length : {-1, 0, 3, 4, 8}) {
        std::string data(8, 'x'), wanted = data;
        std::copy_n("\1\0\0", std::clamp(length, 0, 4), wanted.begin());
        EXPECT_EQ(plugin.query(nullptr, 6, length, data.data()), kDspySuccess);
        EXPECT_EQ(data, wanted);
    }
    std::string untouched = "xxxx";
    EXPECT_EQ(plugin.query(nullptr, 0, 4, untouched.data()), kDspyUnsupported);
    EXPECT_EQ(untouched, "xxxx");
    EXPECT_EQ(plugin.query(nullptr, 0, 4, nullptr), kDspySuccess);
}

}  // namespace
