// The library as a program sees it, over whole files: walks, headers, and files that lie.

#include <gtest/gtest.h>

#include <random>

#include "ptc/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/statistics.h"
#include "ptc/tree.h"
#include "tests/ptc/direct_read.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"
#include "util/host/message.h"

namespace {

int unreadable_points;
int unreadable_nodes;

class Library : public testing::Test {
protected:
    Library() {
        unreadable_points = unreadable_nodes = 0;
        MsgSetHandler(
            [](int, int, const char* text) {
                unreadable_points += std::strncmp(text, "T43051", 6) == 0;
                unreadable_nodes += std::strncmp(text, "T43052", 6) == 0;
                return 0;
            },
            0);
    }
    ~Library() override {
        PtcShutdown();
        MsgSetHandler(nullptr, 0);
    }

    struct Walk {
        int nodes = 0;
        int failed = 0;
        std::int64_t leaf_points = 0;
        bool is_right = true;
    };

    static Walk WalkTree(PtcManagedFile* file, const DirectRead* direct) {
        Walk walk;
        PtcTreeWalk tree(file);
        while (tree.Next()) {
            ++walk.nodes;
            if (tree.Key().IsLeaf()) walk.leaf_points += tree.Node().point_count;
            if (direct && !direct->IsNode(tree.Node(), tree.Key().Reference()))
                walk.is_right = false;
        }
        walk.failed = tree.HasFailed();
        return walk;
    }

    const ScratchFolder folder_;
    const std::string name_ = folder_.File("a.ptc");
};

TEST_F(Library, AWalkMeetsEveryNodeAndEveryPoint) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        WriteTo(name_, BytesOf({5000, true, form}));
        const DirectRead direct(name_);
        PtcManagedFile* const file = PtcOpenForReading(name_.c_str());
        ASSERT_TRUE(file);
        const Walk walk = WalkTree(file, &direct);
        EXPECT_TRUE(walk.is_right);
        EXPECT_EQ(walk.failed, 0);
        EXPECT_EQ(static_cast<std::size_t>(walk.nodes), direct.nodes.size());
        EXPECT_EQ(walk.leaf_points, 5000);
        for (std::int64_t i = 0; i < 5000; ++i) {
            const PtcPoint* const point = PtcGetPoint(file, i * 1009 % 5000);
            ASSERT_TRUE(point && direct.IsPoint(*point, i * 1009 % 5000)) << i;
        }
        EXPECT_NE(PtcCacheTable().find("hit rate"), std::string::npos);
        EXPECT_NE(PtcCacheXml().find("nNodeCacheMisses"), std::string::npos);
        PtcRelease(file);
        PtcShutdown();
        EXPECT_EQ(PtcCacheTable(), "");
    }
    EXPECT_EQ(unreadable_points + unreadable_nodes, 0);
}

TEST_F(Library, AHeaderTellsWhatTheFileHolds) {
    WriteTo(name_, BytesOf({1000, false}));
    PtcManagedFile* const file = PtcOpenForReading(name_.c_str());
    PtcHeader header;
    ASSERT_TRUE(PtcGetHeader(file, &header));
    EXPECT_EQ(header.points, 1000);
    EXPECT_EQ(header.nodes, 0);
    EXPECT_EQ(header.floats_per_point, 4);
    EXPECT_EQ(header.floats_per_node, 0);
    EXPECT_EQ(header.world_to_eye[5], 1);
    EXPECT_EQ(header.format[0], 640);
    EXPECT_LT(header.box[0], header.box[3]);
    EXPECT_GT(header.largest_radius, 0);
    const char* const names[] = {"number", "Glow"};
    std::int32_t offsets[2];
    std::int32_t sizes[2];
    ASSERT_TRUE(PtcFindVariables(file, 2, names, offsets, sizes));
    EXPECT_EQ(offsets[0], 3);
    EXPECT_EQ(sizes[0], 1);
    EXPECT_EQ(offsets[1], -1);

    // What is not there is no error.
    EXPECT_EQ(PtcGetRoot(file, nullptr), nullptr);
    EXPECT_FALSE(PtcGetChildren(file, PtcNodeKey()));
    EXPECT_EQ(unreadable_nodes, 0);
    EXPECT_TRUE(PtcGetPoint(file, 999));
    for (const std::int64_t index : {std::int64_t{1000}, std::int64_t{1023}, std::int64_t{1024},
                                     std::int64_t{-1}, INT64_MAX, INT64_MIN})
        EXPECT_EQ(PtcGetPoint(file, index), nullptr) << index;
    EXPECT_EQ(unreadable_points, 0);
    PtcCacheStats total;
    EXPECT_TRUE(MergeCacheStats(&total));
    EXPECT_EQ(total.points.lookups.Value(), 1u);

    EXPECT_EQ(PtcGetPoint(nullptr, 0), nullptr);
    EXPECT_FALSE(PtcGetChildren(nullptr, PtcNodeKey()));
    EXPECT_EQ(PtcOpenWithVariables(name_.c_str(), nullptr), file);
    EXPECT_EQ(PtcGetRoot(nullptr, nullptr), nullptr);
    EXPECT_FALSE(PtcGetHeader(nullptr, &header));
    EXPECT_FALSE(PtcFindVariables(nullptr, 2, names, offsets, sizes));
}

// With or without points: the octree of a compressed file is not read.
TEST_F(Library, ACompressedFileHasNoTree) {
    for (const double points : {50.0, 0.0}) {
        std::string bytes = BytesOf({50, true});
        Put(&bytes, 8, points);
        WriteTo(name_, gzip_bytes::Whole(bytes));
        PtcShutdown();  // a file of the same name
        PtcManagedFile* const file = PtcOpenForReading(name_.c_str());
        PtcHeader header;
        ASSERT_TRUE(PtcGetHeader(file, &header));
        EXPECT_EQ(header.nodes, 0);
        EXPECT_EQ(PtcGetRoot(file, nullptr), nullptr);
        EXPECT_EQ(PtcGetPoint(file, 0) != nullptr, points > 0);
    }
}

// The nodes of a sound file with a few values changed: references to anywhere, to ancestors, to
// each other's children, counts of any size. Every walk ends, and each read that fails says so
// once.
TEST_F(Library, NodesThatLieEndTheWalkAndNothingElse) {
    const std::string sound = BytesOf({600, true});
    WriteTo(name_, sound);
    const DirectRead direct(name_);
    std::vector<std::int64_t> places;
    for (const auto& node : direct.nodes) places.push_back(node.first);
    const std::int64_t first_node = places.front();

    int failed = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        std::string lying = sound;
        for (unsigned change = 0; change <= seed % 4; ++change) {
            const std::int64_t any = places[random() % places.size()];
            const std::int64_t lies[] = {any,       direct.root, any + 1, first_node - 20,
                                         INT64_MAX, -any,        8,       INT64_MIN};
            const std::int64_t lie = lies[random() % std::size(lies)];
            const std::size_t bytes = random() % 3 == 0 ? 4 : 8;
            const std::size_t at =
                static_cast<std::size_t>(first_node) +
                random() % (lying.size() - bytes - static_cast<std::size_t>(first_node));
            std::memcpy(lying.data() + at, &lie, bytes);
            // And a whole group of references, where a lie is sure to be read.
            const DirectRead::Node& parent = direct.nodes.at(direct.root);
            if (change == 0) std::memcpy(lying.data() + parent.end - 8, &lie, 8);
        }
        WriteTo(name_, lying);
        PtcShutdown();  // a file of the same name
        PtcManagedFile* const file = PtcOpenForReading(name_.c_str());
        ASSERT_TRUE(file) << seed;
        failed += WalkTree(file, nullptr).failed;
        EXPECT_EQ(unreadable_nodes, failed) << seed;
        EXPECT_TRUE(PtcGetPoint(file, 599)) << seed;
        PtcRelease(file);
    }
    EXPECT_GT(failed, 100);
    EXPECT_EQ(unreadable_points, 0);
}

}  // namespace
