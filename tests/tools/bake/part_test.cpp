// Bakes in parts: joined, they have the bytes of one machine's bake, and the parts are alike.

#include "tools/bake/part.h"

#include <numeric>
#include <tuple>

#include "tests/tools/run_tool.h"
#include "tools/scene/scene_options.h"

namespace {

using bake::Delivery;

constexpr const char* kPartBake = "pcbake --driver " DRIVER " --rays 1 --no-bounce ";

/// A ridge of two triangles that share an edge at x = 0.
constexpr const char* kMesh = "OFF\n4 2 0\n-1 0 -1\n0 1 0\n0 0 2\n1 0 -1\n3 0 1 2\n3 3 2 1\n";

/// Bakes in `count` parts with `options`, and answers what `ptc merge` makes of them.
std::string Joined(const ToolFolder& folder, const std::string& options, std::uint32_t count) {
    std::ostringstream line, merge;
    merge << "ulimit -n 20 && '" PTC "' merge -o joined";  // few files are open at a time
    for (std::uint32_t number = 1; number <= count; ++number) {
        line << kPartBake << options << " --output part" << number << " --part " << number << '/'
             << count << " && ";
        merge << " part" << number;
    }
    const ToolRun run = folder.Shell(line.str() + merge.str());
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.find("part ") != run.out.npos, count > 1) << run.out;
    return folder.Content("joined");
}

TEST(Part, JoinedPartsHaveTheBytesOfOneBake) {
    const ToolFolder folder;
    folder.Write("mesh.off", kMesh);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // slow starts, and nothing new
    const std::vector<std::uint32_t> all = {1, 2, 3, 7, 64};
#else
    const std::vector<std::uint32_t> all = {1, 3, 7};
#endif
    const std::pair<std::string, std::vector<std::uint32_t>> cases[] = {
        {"--density 24", all},
        {"--density 20 --particles 150 --grid 5", all},
        {"--density 20 --mesh mesh.off", all},
        {"--density 20 --size 640x90 --grid 7", {5}},
        {"--density 24 --particles 40 --eliminate-duplicates", {2, 7}},
    };
    for (const auto& [options, counts] : cases) {
        SCOPED_TRACE(options);
        const ToolRun run = folder.Shell(kPartBake + options + " --threads 3 --output whole");
        ASSERT_EQ(run.status, 0) << run.err;
        const std::string whole = folder.Content("whole");
        for (const std::uint32_t count : counts)
            EXPECT_TRUE(Joined(folder, options, count) == whole) << count;
    }
}

TEST(Part, TextIsRoundedAlikeInPartsAndInOneFile) {
    const ToolFolder folder;
    const std::string options = "--density 16 --ascii";
    const std::string whole = Joined(folder, options, 1);
    EXPECT_TRUE(whole.starts_with("kptc")) << "merging makes a binary file";
    EXPECT_TRUE(Joined(folder, options, 3) == whole);
}

TEST(Part, PartsAreSlicesOfThePlanOfLikeCosts) {
    scene::SceneOptions options;
    options.particles = 500;
    scene::MeshReport mesh;
    const scene::Scene scene = scene::MakeScene(options, &mesh);
    const auto plan = bake::PlanDeliveries(scene, scene::Camera(options.width, options.height), 2);
    const auto order_of = [](const std::vector<Delivery>& some) {
        std::vector<std::tuple<std::uint32_t, std::uint32_t>> order;
        order.reserve(some.size());
        for (const Delivery& delivery : some) order.emplace_back(delivery.bucket, delivery.grid);
        return order;
    };
    for (const std::uint32_t count : {1U, 2U, 3U, 7U, 64U, 9999U}) {
        SCOPED_TRACE(count);
        std::vector<Delivery> all;
        std::vector<std::uint64_t> shaded;
        std::size_t empty = 0;
        for (std::uint32_t number = 1; number <= count; ++number) {
            const auto part = bake::TakePart(plan, {number, count}, false);
            all.insert(all.end(), part.begin(), part.end());
            empty += part.empty() ? 1 : 0;
            shaded.push_back(0);
            for (const Delivery& delivery : part)
                if (delivery.kind != Delivery::Kind::kRepeat) shaded.back() += delivery.samples;
        }
        EXPECT_EQ(order_of(all), order_of(plan));
        EXPECT_EQ(empty, std::max<std::size_t>(count, plan.size()) - plan.size());
        const std::uint64_t mean = std::accumulate(shaded.begin(), shaded.end(), 0ULL) / count;
        const std::uint64_t grid = std::uint64_t{16} * 16;
        EXPECT_LE(*std::max_element(shaded.begin(), shaded.end()), mean * 11 / 10 + grid);
    }
}

}  // namespace
