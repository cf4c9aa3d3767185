// Opening through the exported functions: parameters, channels, answers.

#include <cmath>

#include "tests/support/cloud_file.h"
#include "tests/support/plugin.h"
#include "tests/support/scratch.h"

namespace {

std::vector<float> Matrix(float first) {
    std::vector<float> values(16, 0.0f);
    for (std::size_t i = 0; i < 16; ++i) values[i] = first + static_cast<float>(i);
    return values;
}

CloudFile OpenAndClose(const Plugin& plugin, const std::string& name, HostChannels channels,
                       const HostParameters& parameters = {}) {
    void* const image = OpenImageOf(plugin, name, std::move(channels), parameters);
    EXPECT_TRUE(image);
    EXPECT_EQ(plugin.close(image), kDspySuccess);
    return {ContentOf(name)};
}

TEST(Plugin, ParametersAndChannelsReachTheHeader) {
    const ScratchFolder folder;
    const Plugin plugin;
    HostParameters parameters;
    parameters.Floats("Nl", Matrix(1)).Floats("NP", Matrix(100)).Floats("OriginalSize", {320, 240});
    parameters.Float("PixelAspectRatio", 0.5f);
    const HostChannels channels = {"a|varying float _area", "b|color glow.001", "|normal .x",
                                   "e|varying point p extra words"};
    CloudFile file = OpenAndClose(plugin, folder.File("a.ptc"), channels, parameters);
    EXPECT_EQ(file.At<float>(188 + 4), 2.0f);
    EXPECT_EQ(file.At<float>(252 + 4), 101.0f);
    EXPECT_EQ(file.At<float>(316), 320.0f);
    EXPECT_EQ(file.At<float>(320), 240.0f);
    EXPECT_EQ(file.At<float>(324), 0.5f);
    EXPECT_EQ(file.DataSize(), 10);
    EXPECT_EQ(file.Declarations(),
              (std::vector<std::string>{"float _area", "color glow", "normal ", "point p"}));

    // The size stays from one open to the next, the ratio and the matrices do not.
    file = OpenAndClose(plugin, folder.File("b.ptc"), {"x|float _none"});
    EXPECT_EQ(file.At<float>(188), 1.0f);
    EXPECT_EQ(file.At<float>(252 + 4), 0.0f);
    EXPECT_EQ(file.At<float>(316), 320.0f);
    EXPECT_EQ(file.At<float>(324), 0.0f);
    EXPECT_EQ(file.PointVariables(), 0);
    EXPECT_EQ(OpenAndClose(plugin, folder.File("c.ptc"), {"|float _none", "|float _none"})
                  .PointVariables(),
              2);
}

TEST(Plugin, RefusedOpensSayWhyAndStoreNoHandle) {
    const ScratchFolder folder;
    const Plugin plugin;
    const std::string name = folder.File("a.ptc");
    const std::string absent = folder.File("no/a.ptc");
    struct Row {
        std::string file;
        HostChannels channels;
        int code;
        std::string error;
        std::string output;
    };
    const std::string unknown = "error: unknown variable type '";
    for (const Row& row : {
             Row{name, {"float a"}, kDspyUndefined, "", ""},
             Row{name, {"x|bogus a", "float a"}, kDspyUndefined, "", ""},
             Row{name,
                 {"x|float"},
                 kDspyBadParameters,
                 "test:  Bad type declaration - missing DisplayChannel?\n",
                 ""},
             Row{name,
                 {"x|float a", "x| \t "},
                 kDspyBadParameters,
                 "test:  Bad type declaration - missing DisplayChannel?\n",
                 ""},
             Row{name,
                 {"x|color[-2] a"},
                 kDspyBadParameters,
                 "test:  variable of type 'color[-2]' has an impossible size\n",
                 unknown + "color[-2]' in pointcloud display driver\n"},
             Row{name,
                 {"x|color[6000000] a"},
                 kDspyBadParameters,
                 "test:  variable of type 'color[6000000]' has an impossible size\n",
                 unknown + "color[6000000]' in pointcloud display driver\n"},
             Row{absent,
                 {"x|float a"},
                 kDspyNoResource,
                 "test:  cannot create '" + absent + "': No such file or directory\n",
                 ""},
             Row{"",
                 {"x|float a"},
                 kDspyNoResource,
                 "test:  cannot create '': No such file or directory\n",
                 ""},
             Row{"/dev/full",
                 {"x|float a"},
                 kDspyNoResource,
                 "test:  cannot create '/dev/full': No space left on device\n",
                 ""},
             Row{std::string(4096, 'n'),
                 {"x|float a"},
                 kDspyBadParameters,
                 "test:  file name too long\n",
                 ""},
         }) {
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        int code = -1;
        void* const image = OpenImageOf(plugin, row.file, row.channels, {}, &code);
        fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.error);
        EXPECT_EQ(code, row.code) << row.error;
        EXPECT_EQ(image, nullptr);
    }
}

TEST(Plugin, UnknownTypesAreToldAndGoOn) {
    const ScratchFolder folder;
    const Plugin plugin;
    testing::internal::CaptureStdout();
    const CloudFile file =
        OpenAndClose(plugin, folder.File("a.ptc"), {"|varying float[3] f", "|bogus b"});
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "error: unknown variable type 'float[3]' in pointcloud display driver\n"
              "error: unknown variable type 'bogus' in pointcloud display driver\n"
              "Unknown type 'bogus' !?\n");
    EXPECT_EQ(file.DataSize(), 3);
}

TEST(Plugin, FormatsAreAskedForInLittleEndianOrder) {
    const ScratchFolder folder;
    const Plugin plugin;
    HostChannels channels = {"|float a", "|float b"};
    void* image = nullptr;
    ASSERT_EQ(plugin.open(&image, "test", folder.File("a.ptc").c_str(), 1, 1, 0, nullptr, 2,
                          channels.List().data(), nullptr),
              kDspySuccess);
    EXPECT_EQ(channels.List()[0].type, 0x4001u);
    EXPECT_EQ(channels.List()[1].type, 0x4001u);
    plugin.close(image);
}

TEST(Plugin, QueriesAreAnsweredWithinTheRoomGiven) {
    const Plugin plugin;
    struct Row {
        int type;
        int length;
        int code;
        std::string left;  // of 8 bytes that were all 'x'
    };
    for (const Row& row :
         {Row{6, 4, 0, std::string("\1\0\0\0xxxx", 8)},
          Row{6, 8, 0, std::string("\1\0\0\0xxxx", 8)}, Row{6, 3, 0, std::string("\1\0\0xxxxx", 8)},
          Row{6, 0, 0, "xxxxxxxx"}, Row{0, -1, 0, "xxxxxxxx"}, Row{0, 4, 2, "xxxxxxxx"}}) {
        std::string data(8, 'x');
        EXPECT_EQ(plugin.query(nullptr, row.type, row.length, data.data()), row.code);
        EXPECT_EQ(data, row.left);
    }
    EXPECT_EQ(plugin.query(nullptr, 0, 4, nullptr), 0);
}

}  // namespace
