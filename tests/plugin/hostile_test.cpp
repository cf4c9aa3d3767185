// What no well-behaved host does: it must cost a code or a line, never the host.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <random>

#include "tests/support/cloud_file.h"
#include "tests/support/plugin.h"
#include "tests/support/scratch.h"

namespace {

TEST(Plugin, CallsWithoutAnythingAreRefused) {
    const ScratchFolder folder;
    const Plugin plugin;
    EXPECT_EQ(plugin.open(nullptr, nullptr, nullptr, 0, 0, 0, nullptr, 0, nullptr, nullptr),
              kDspyBadParameters);
    EXPECT_EQ(plugin.deep_data(nullptr, 0, 0, 0, 0, nullptr, 0), kDspyBadParameters);
    EXPECT_EQ(plugin.close(nullptr), kDspyBadParameters);

    // Counts without arrays, arrays without counts, entries without anything.
    void* image = nullptr;
    DspyFormat nameless[] = {{nullptr, 0}};
    const DspyParameter empty[] = {{nullptr, 0, 0, nullptr, 0}, {"NP", 'f', -16, nullptr, -64}};
    const std::string name = folder.File("a.ptc");
    EXPECT_EQ(plugin.open(&image, nullptr, name.c_str(), 0, 0, 2, empty, 1, nameless, nullptr),
              kDspyUndefined);
    EXPECT_EQ(plugin.open(&image, nullptr, name.c_str(), 0, 0, INT_MAX, nullptr, INT_MIN, nameless,
                          nullptr),
              kDspySuccess);
    ASSERT_TRUE(image);

    const std::vector<float> sample(64, 1.0f);
    const auto* const data = reinterpret_cast<const unsigned char*>(sample.data());
    struct Row {
        int first, last;
        const unsigned char* data;
        int length;
    };
    for (const Row& row :
         {Row{0, 0, nullptr, 28}, Row{1, 0, data, 28}, Row{5, -5, data, 28}, Row{0, 0, data, 27},
          Row{0, 0, data, -28}, Row{0, 1, data, 55}, Row{INT_MIN, INT_MAX, data, INT_MAX},
          Row{0, INT_MAX, data, 256}, Row{INT_MAX, INT_MIN, data, 256}})
        EXPECT_EQ(plugin.deep_data(image, row.first, row.last, 0, 0, row.data, row.length),
                  kDspyBadParameters);
    EXPECT_EQ(plugin.deep_data(image, INT_MAX, INT_MAX, 0, 0, data, 31), kDspySuccess);
    EXPECT_EQ(plugin.deep_data(image, -1, 0, 0, 0, data + 1, 56), kDspySuccess);  // not aligned
    EXPECT_EQ(plugin.close(image), kDspySuccess);
    EXPECT_EQ(CloudFile{ContentOf(name)}.PointCount(), 3);
}

TEST(Plugin, ValuesThatAreNoNumbersHarmNobody) {
    const ScratchFolder folder;
    const Plugin plugin;
    const float odd[] = {NAN, INFINITY, -INFINITY, 0, -0.0f, 1, 1e38f, -1e38f, 1e-45f, 0.5f};
    std::mt19937 random(11);
    for (const float limit : {0.0f, 1.0f, 1e15f, INFINITY, NAN, -1.0f}) {
        HostParameters parameters;
        parameters.Int("Simplify", 1).Int("EliminateDuplicateGrids", 1).Int("BufferSize", 400);
        parameters.Float("MaxDist", limit).Float("MinDot", limit).Float("MaxDiff", limit);
        parameters.Int("RasterSpace", static_cast<int>(random() % 2))
            .Floats("OriginalSize", {NAN, INFINITY});
        void* const image = OpenImageOf(plugin, folder.File("a.ptc"), {"|float v"}, parameters);
        ASSERT_TRUE(image);
        for (int batch = 0; batch < 300; ++batch) {
            std::vector<float> samples((1 + random() % 12) * 8);
            for (float& value : samples) value = odd[random() % std::size(odd)];
            EXPECT_EQ(plugin.Deliver(image, samples, 8), kDspySuccess);
        }
        EXPECT_EQ(plugin.close(image), kDspySuccess);
        const CloudFile file{ContentOf(folder.File("a.ptc"))};
        EXPECT_EQ(file.PointCount(), static_cast<double>(file.RecordsInFile()));
    }
}

TEST(Plugin, ALossIsToldAtTheClose) {
    const ScratchFolder folder;
    const std::string name = folder.File("limited.ptc");
    testing::internal::CaptureStderr();
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit = {200'000, 200'000};
        setrlimit(RLIMIT_FSIZE, &limit);
        const Plugin plugin;
        void* const image = OpenImageOf(plugin, name, {"|float v"});
        bool fine = image != nullptr;
        const std::vector<float> samples(100 * 8, 1.0f);
        for (int i = 0; i < 500; ++i) fine &= plugin.Deliver(image, samples, 8) == kDspySuccess;
        fine &= plugin.close(image) == kDspySuccess;
        _exit(fine ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "test:  cannot write all of '" + name + "': File too large; 8192 points are kept\n");
    EXPECT_EQ(CloudFile{ContentOf(name)}.PointCount(), 8192);
}

TEST(Plugin, AFolderThatMayNotBeWrittenIsTold) {
    const ScratchFolder folder;
    const Plugin plugin;
    const std::string name = folder.File("");  // a folder is no file, whoever asks
    testing::internal::CaptureStderr();
    int code = 0;
    EXPECT_EQ(OpenImageOf(plugin, name, {"|float v"}, {}, &code), nullptr);
    EXPECT_EQ(code, kDspyNoResource);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "test:  cannot create '" + name + "': Is a directory\n");
}

}  // namespace
