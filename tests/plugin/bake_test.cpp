// Whole images through the exported functions: what is delivered is what is in the file.

#include <random>
#include <thread>

#include "tests/support/cloud_file.h"
#include "tests/support/plugin.h"
#include "tests/support/scratch.h"

namespace {

constexpr std::size_t kFloats = 8;  // a head and one float of data

/// A grid of 4 samples that starts at (x, 0, 0).
std::vector<float> Grid(float x, float radius = 0.5f, float value = 1) {
    std::vector<float> samples;
    for (int i = 0; i < 4; ++i) {
        const auto step = static_cast<float>(i);
        for (const float v : {x + step, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, radius, value + step})
            samples.push_back(v);
    }
    return samples;
}

TEST(Plugin, ADeliveredGridIsInTheFile) {
    const ScratchFolder folder;
    const Plugin plugin;
    void* const image = OpenImageOf(plugin, folder.File("a.ptc"), {"|float v"});
    ASSERT_TRUE(image);
    EXPECT_EQ(plugin.Deliver(image, Grid(10), kFloats), kDspySuccess);
    EXPECT_EQ(plugin.Deliver(image, Grid(10), kFloats), kDspySuccess);      // kept: nobody asked
    EXPECT_EQ(plugin.Deliver(image, Grid(20, -1), kFloats), kDspySuccess);  // refused radii
    EXPECT_EQ(plugin.Deliver(image, Grid(30, 0), kFloats), kDspySuccess);
    plugin.close(image);
    const CloudFile file{ContentOf(folder.File("a.ptc"))};
    EXPECT_EQ(file.PointCount(), 12);
    EXPECT_EQ(file.PointValue(1, 0), 11.0f);
    EXPECT_EQ(file.PointValue(1, 5), 2.0f);
    EXPECT_EQ(file.PointValue(8, 0), 30.0f);
    EXPECT_EQ(file.BoxValue(0), 9.5f);
    EXPECT_EQ(file.BoxValue(3), 33.0f);
}

TEST(Plugin, RepeatsAreDroppedWhenAskedFor) {
    const ScratchFolder folder;
    const Plugin plugin;
    HostParameters parameters;
    parameters.Float("EliminateDuplicateGrids", 1.9f);
    void* const image = OpenImageOf(plugin, folder.File("a.ptc"), {"|float v"}, parameters);
    for (const float x : {10.0f, 20.0f, 10.0f, 20.0f, 10.0f})
        plugin.Deliver(image, Grid(x), kFloats);
    std::vector<float> single = Grid(50);
    single.resize(kFloats);
    plugin.Deliver(image, single, kFloats);
    single[0] += 0.015f;  // within sqrt(0.001) * 0.5
    plugin.Deliver(image, single, kFloats);
    single[0] += 0.015f;  // and now beyond it, from the first
    plugin.Deliver(image, single, kFloats);
    plugin.close(image);
    EXPECT_EQ(CloudFile{ContentOf(folder.File("a.ptc"))}.PointCount(), 10);
}

TEST(Plugin, AFullBufferIsThinnedBeforeTheNextBatch) {
    const ScratchFolder folder;
    const Plugin plugin;
    for (const int size : {3, 4, 5, 0, -7, 2'000'000'000}) {
        HostParameters parameters;
        parameters.Int("Simplify", 1).Int("BufferSize", size).Float("MaxDist", 1.0f);
        void* const image = OpenImageOf(plugin, folder.File("a.ptc"), {"|float area"}, parameters);
        ASSERT_TRUE(image);
        // Two pairs a batch; the same pairs again merge only with what is still buffered.
        plugin.Deliver(image, Grid(0), kFloats);
        plugin.Deliver(image, Grid(0), kFloats);
        plugin.Deliver(image, Grid(100, 0), kFloats);  // no extent: not stored
        plugin.close(image);
        const CloudFile file{ContentOf(folder.File("a.ptc"))};
        EXPECT_EQ(file.PointCount(), size > 8 ? 2 : 4) << size;
        float area = 0;
        for (std::size_t i = 0; i < file.RecordsInFile(); ++i) area += file.PointValue(i, 5);
        EXPECT_EQ(area, 20.0f) << "areas add up";
    }
}

TEST(Plugin, MissingDataAreZeroAndExtraDataAreLeftOut) {
    const ScratchFolder folder;
    const Plugin plugin;
    for (const bool simplify : {false, true}) {
        HostParameters parameters;
        parameters.Int("Simplify", simplify).Float("MaxDist", 0);
        void* const image =
            OpenImageOf(plugin, folder.File("a.ptc"), {"|color[2] c", "|float f"}, parameters);
        plugin.Deliver(image, Grid(10), kFloats);  // 1 float for 7
        const std::vector<float> wide(2 * 20, 3.0f);
        plugin.Deliver(image, wide, 20);  // 13 for 7
        plugin.close(image);
        const CloudFile file{ContentOf(folder.File("a.ptc"))};
        ASSERT_EQ(file.DataSize(), 7);
        EXPECT_EQ(file.PointValue(1, 5), 2.0f);
        EXPECT_EQ(file.PointValue(1, 6), 0.0f);
        EXPECT_EQ(file.PointValue(4, 11), 3.0f);
        EXPECT_EQ(file.PointCount(), simplify ? 5 : 6) << "two wide samples at one place";
    }
}

TEST(Plugin, TwoImagesShareTheLatestProjection) {
    const ScratchFolder folder;
    const Plugin plugin;
    // In pixels, the first image's own projection would keep all points apart.
    const auto parameters = [](float width) {
        HostParameters p;
        std::vector<float> identity(16, 0.0f);
        identity[0] = identity[5] = identity[10] = identity[15] = 1;
        p.Int("Simplify", 1).Int("RasterSpace", 1).Float("MaxDist", 1).Floats("NP", identity);
        p.Floats("OriginalSize", {width, width});
        return p;
    };
    void* const first = OpenImageOf(plugin, folder.File("a.ptc"), {"|float v"}, parameters(4000));
    void* const second = OpenImageOf(plugin, folder.File("b.ptc"), {"|float v"}, parameters(2));
    ASSERT_TRUE(first && second);
    std::thread other([&] {
        plugin.Deliver(second, Grid(0), kFloats);
        plugin.close(second);
    });
    plugin.Deliver(first, Grid(0), kFloats);
    plugin.close(first);
    other.join();
    EXPECT_EQ(CloudFile{ContentOf(folder.File("a.ptc"))}.PointCount(), 2);
    EXPECT_EQ(ContentOf(folder.File("a.ptc")).substr(328),
              ContentOf(folder.File("b.ptc")).substr(328));
}

TEST(Plugin, TheSameCallsGiveTheSameBytesAfterAReload) {
    const ScratchFolder folder;
    std::string contents[2];
    for (std::string& content : contents) {
        const Plugin plugin;
        HostParameters parameters;
        parameters.Int("Simplify", 1).Float("MaxDist", 0.3f).Int("BufferSize", 500);
        void* const image = OpenImageOf(plugin, folder.File("a.ptc"), {"|float v"}, parameters);
        std::mt19937 random(5);
        for (int i = 0; i < 300; ++i)
            plugin.Deliver(image, Grid(static_cast<float>(random() % 1000) * 0.01f), kFloats);
        plugin.close(image);
        content = ContentOf(folder.File("a.ptc"));
    }
    EXPECT_EQ(contents[0], contents[1]);
    EXPECT_LT(CloudFile{contents[0]}.PointCount(), 600);
    EXPECT_EQ(dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the object is still loaded";
}

}  // namespace
