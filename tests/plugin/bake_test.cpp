// Whole images through the exported functions: what is delivered is what is in the file.

#include <random>
#include <thread>

#include "tests/plugin/baked.h"

namespace {

TEST(Plugin, ADeliveredGridIsInTheFile) {
    // The repeat is kept: nobody asked. A radius below 0 is refused.
    const CloudFile file = Baked({"|float v"}, {}, {Grid(10), Grid(10), Grid(20, -1), Grid(30, 0)});
    EXPECT_EQ(file.PointCount(), 12);
    EXPECT_EQ(file.PointValue(1, 0), 11.0f);
    EXPECT_EQ(file.PointValue(1, 5), 2.0f);
    EXPECT_EQ(file.PointValue(8, 0), 30.0f);
    EXPECT_EQ(file.BoxValue(0), 9.5f);
    EXPECT_EQ(file.BoxValue(3), 33.0f);
}

TEST(Plugin, RepeatsAreDroppedWhenAskedFor) {
    HostParameters parameters;
    parameters.Float("EliminateDuplicateGrids", 1.9f);
    std::vector<HostBatch> batches = {Grid(10), Grid(20), Grid(10), Grid(20), Grid(10)};
    batches.push_back({{10, 0, 0, 0, 0, 1, 0.5f, 1, 11, 0, 0, 0, 0, 1, 0.5f, 2}, 8});  // a part
    // Within sqrt(0.001) * 0.5 of the first, and then beyond it.
    for (const float x : {50.0f, 50.015f, 50.03f})
        batches.push_back({{x, 0, 0, 0, 0, 1, 0.5f, 1}, 8});
    EXPECT_EQ(Baked({"|float v"}, parameters, batches).PointCount(), 12);
}

TEST(Plugin, AFullBufferIsThinnedBeforeTheNextBatch) {
    for (const int size : {3, 7, 8, 0, -7, 2'000'000'000}) {
        HostParameters parameters;
        parameters.Int("Simplify", 1).Int("BufferSize", size).Float("MaxDist", 1.0f);
        // Two pairs a batch; the same pairs again merge only with what is still buffered.
        const CloudFile file = Baked({"|float area"}, parameters, {Grid(0), Grid(0), Grid(100, 0)});
        EXPECT_EQ(file.PointCount(), size >= 8 ? 2 : 4) << size;
        float area = 0;
        for (std::size_t i = 0; i < file.RecordsInFile(); ++i) area += file.PointValue(i, 5);
        EXPECT_EQ(area, 20.0f) << "areas add up";
    }
}

TEST(Plugin, MissingDataAreZeroAndExtraDataAreLeftOut) {
    for (const bool simplify : {false, true}) {
        HostParameters parameters;
        parameters.Int("Simplify", simplify).Float("MaxDist", 0);
        // 1 float for 7, then 13 for 7.
        const CloudFile file = Baked({"|color[2] c", "|float f"}, parameters,
                                     {Grid(10), {std::vector<float>(2 * 20, 3.0f), 20}});
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
    void* images[2];
    for (const int i : {0, 1}) {
        HostParameters parameters;
        parameters.Int("Simplify", 1).Int("RasterSpace", 1).Float("MaxDist", 1);
        parameters.Floats("NP", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
        parameters.Floats("OriginalSize", std::vector<float>(2, i == 0 ? 4000 : 2));
        images[i] = OpenImageOf(plugin, folder.File(i ? "b" : "a"), {"|float v"}, parameters);
        ASSERT_TRUE(images[i]);
    }
    const auto deliver_and_close = [&](void* image) {
        plugin.Deliver(image, Grid(0).samples, 8);
        plugin.close(image);
    };
    std::thread other(deliver_and_close, images[1]);
    deliver_and_close(images[0]);
    other.join();
    const std::string first = ContentOf(folder.File("a")), second = ContentOf(folder.File("b"));
    EXPECT_EQ(CloudFile{first}.PointCount(), 2);
    EXPECT_EQ(first.substr(328), second.substr(328));
}

TEST(Plugin, TheSameCallsGiveTheSameBytesAfterAReload) {
    HostParameters parameters;
    parameters.Int("Simplify", 1).Float("MaxDist", 0.3f).Int("BufferSize", 500);
    std::mt19937 random(5);
    std::vector<HostBatch> batches;
    for (int i = 0; i < 300; ++i)
        batches.push_back(Grid(static_cast<float>(random() % 1000) * 0.01f));
    const CloudFile file = Baked({"|float v"}, parameters, batches);
    EXPECT_EQ(dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the object is still loaded";
    EXPECT_EQ(file.bytes, Baked({"|float v"}, parameters, batches).bytes);
    EXPECT_LT(file.PointCount(), 600);
}

}  // namespace
