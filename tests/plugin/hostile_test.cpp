// What no well-behaved host does: it must cost a code or a line, never the host.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <random>

#include "tests/plugin/baked.h"

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
    const auto open = [&](int count, const DspyParameter* parameters, int formats) {
        return plugin.open(&image, nullptr, name.c_str(), 0, 0, count, parameters, formats,
                           nameless, nullptr);
    };
    EXPECT_EQ(open(2, empty, 1), kDspyUndefined);
    EXPECT_EQ(open(INT_MAX, nullptr, INT_MIN), kDspySuccess);
    ASSERT_TRUE(image);

    const std::vector<float> sample(64, 1.0f);
    const auto* const data = reinterpret_cast<const unsigned char*>(sample.data());
    const auto deliver = [&](int first, int last, const unsigned char* from, int length) {
        return plugin.deep_data(image, first, last, 0, 0, from, length);
    };
    EXPECT_EQ(deliver(0, 0, nullptr, 28), kDspyBadParameters);
    const int rows[][3] = {{1, 0, 28},        {5, -5, 28},
                           {0, 0, 27},        {0, 0, -28},
                           {0, 1, 55},        {INT_MIN, INT_MAX, INT_MAX},
                           {0, INT_MAX, 256}, {INT_MAX, INT_MIN, 256}};
    for (const auto& [first, last, length] : rows)
        EXPECT_EQ(deliver(first, last, data, length), kDspyBadParameters) << first << " " << length;
    EXPECT_EQ(deliver(INT_MAX, INT_MAX, data, 31), kDspySuccess);
    EXPECT_EQ(deliver(-1, 0, data + 1, 56), kDspySuccess);  // not aligned
    EXPECT_EQ(plugin.close(image), kDspySuccess);
    EXPECT_EQ(CloudFile{ContentOf(name)}.PointCount(), 3);
}

TEST(Plugin, ValuesThatAreNoNumbersHarmNobody) {
    const float odd[] = {NAN, INFINITY, -INFINITY, 0, -0.0f, 1, 1e38f, -1e38f, 1e-45f, 0.5f};
    std::mt19937 random(11);
    for (const float limit : {0.0f, 1.0f, 1e15f, INFINITY, NAN, -1.0f}) {
        HostParameters parameters;
        parameters.Int("Simplify", 1).Int("EliminateDuplicateGrids", 1).Int("BufferSize", 400);
        parameters.Float("MaxDist", limit).Float("MinDot", limit).Float("MaxDiff", limit);
        parameters.Int("RasterSpace", random() % 2).Floats("OriginalSize", {NAN, INFINITY});
        std::vector<HostBatch> batches(300);
        for (HostBatch& batch : batches) {
            batch = {std::vector<float>((1 + random() % 12) * 8), 8};
            for (float& value : batch.samples) value = odd[random() % std::size(odd)];
        }
        const CloudFile file = Baked({"|float v"}, parameters, batches);
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

}  // namespace
