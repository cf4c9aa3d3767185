// Lookups over files that lie, fail or are too many, and lookups that are refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <filesystem>

#include "tests/ptc/lookup_fixture.h"
#include "tests/support/cloud_file.h"
#include "tests/support/tree_cloud.h"
#include "util/host/config.h"

namespace {

/// That the answers are points of the files at the distances that they have, nearest first.
void ExpectRealPoints(const PtcLookup& lookup, const PlainLookup& plain, const ManyPlaces& places) {
    constexpr std::int32_t kMost = 20;
    std::int32_t files[kMost];
    std::int64_t indexes[kMost];
    float squared[kMost];
    PtcNearestArrays arrays;
    arrays.files = files;
    arrays.indexes = indexes;
    arrays.squared_distances = squared;
    for (std::size_t i = 0; i < places.Count(); ++i) {
        std::int32_t found = -1;
        (void)lookup.Nearest(places[i], {kMost}, arrays, &found);
        ASSERT_TRUE(found >= 0 && found <= kMost) << found;
        for (std::int32_t k = 0; k < found; ++k) {
            ASSERT_TRUE(files[k] >= 0 && files[k] < static_cast<int>(plain.FileCount()));
            const auto heads = plain.Heads(static_cast<std::size_t>(files[k]));
            ASSERT_LT(static_cast<std::size_t>(indexes[k]), heads.size());
            const float* const at = heads[static_cast<std::size_t>(indexes[k])].position;
            const float* const from = places[i].position;
            const float x = at[0] - from[0], y = at[1] - from[1], z = at[2] - from[2];
            ASSERT_EQ(squared[k], (x * x + y * y) + z * z);
            ASSERT_TRUE(k == 0 || squared[k - 1] <= squared[k]);
        }
        float values[4];
        float weights[2];
        (void)lookup.Sample(places[i], {0.2f}, values, weights);
    }
}

constexpr int kDamagedPoints = 1500;

/// Evenly spread points under a tree of small leaves, of which something was changed.
std::string Unsound(std::mt19937& random) {
    std::vector<TreePoint> points(kDamagedPoints);
    for (TreePoint& point : points) {
        point.head = {{}, {0, 0, 1}, 0.01f};
        for (float& coordinate : point.head.position) coordinate = Coordinate(random);
    }
    TreeShape shape;
    shape.leaf_points = 4;
    std::string bytes = TreeCloud(points, shape, random);
    const CloudFile file{bytes};
    const auto children_of = [&](std::size_t node) {
        return static_cast<std::size_t>(std::popcount(file.At<std::uint8_t>(node + 32)));
    };
    std::vector<std::size_t> nodes;  // each begins with its run and its box
    for (std::size_t at = file.DataStart() + kDamagedPoints * file.Record(); at < bytes.size();) {
        nodes.push_back(at);
        at += 33 + 8 * children_of(at);
    }
    for (auto lies = 1 + random() % 20; lies > 0; --lies) {
        // Nodes near the root are at the end.
        const std::size_t back =
            random() % std::min<std::size_t>(nodes.size(), random() % 2 ? 40 : 999);
        const std::size_t node = nodes[nodes.size() - 1 - back];
        const std::size_t children = children_of(node);
        switch (random() % 4) {
            case 0:  // the run
                Put(&bytes, node + 4 * (random() % 2),
                    OneOf(random, {-1, 0, 1, 300, kDamagedPoints, kDamagedPoints + 1, INT32_MAX,
                                   INT32_MIN}));
                break;
            case 1:  // the box
                Put(&bytes, node + 8 + 4 * (random() % 6),
                    OneOf(random, {kNaN, kInfinity, -kInfinity, 0.0f, 3e38f}));
                break;
            case 2:  // a child: another node, or anything
                if (children > 0)
                    Put(&bytes, node + 33 + 8 * (random() % children),
                        std::uint64_t{random() % 8 ? nodes[random() % nodes.size()] : random()});
                break;
            default:  // the number of nodes; one that is too large is refused at once
                Put(&bytes, 40, OneOf(random, {1.0, 5.0, static_cast<double>(nodes.size() / 2)}));
        }
    }
    return bytes;
}

TEST_F(Lookup, EndsForEveryUnsoundTree) {
    std::mt19937 random(5);
    for (int round = 0; round < Rounds(100); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        OpenBytes(Unsound(random));
        OpenBytes(BytesOf({300}));
        ManyPlaces places;
        for (int i = 0; i < 15; ++i) places.positions.push_back(Coordinate(random));
        ExpectRealPoints(Made(), Plain(), places);
        End();
        if (HasFatalFailure()) return;
    }
}

/// A tree of `depth` nodes above one leaf, in which each node names the next one `shared` times.
std::string ChainOf(int depth, int shared) {
    constexpr int kChained = 500;  // so many that a search opens the nodes
    const MemoryCloud made(WithVariables({"float"}));
    const float number = 1;
    for (int i = 0; i < kChained; ++i)
        made.Add({{static_cast<float>(i), 0, 0}, {0, 0, 1}, 0.1f}, &number);
    const NodeToWrite node{0, kChained, {-1, -1, -1, kChained, 1, 1}, nullptr};
    std::int64_t below = made.AddNode(node);
    for (int i = 0; i < depth; ++i) {
        std::int64_t children[8] = {};
        std::fill_n(children, shared, below);
        below = made.AddNode(node, children);
    }
    return made.Finished();
}

TEST_F(Lookup, EndsWhereNodesAreSharedAndInDeepChains) {
    const std::pair<int, int> chains[] = {{40, 8}, {40, 2}, {50'000, 1}, {50'000, 8}};
    for (const auto& [depth, shared] : chains) {
        SCOPED_TRACE(std::to_string(depth) + " levels of " + std::to_string(shared));
        OpenBytes(ChainOf(depth, shared));
        const PtcLookup lookup = Made();
        const PlainLookup plain = Plain();
        ManyPlaces places;
        places.positions = {2.4f, 0.1f, 0, 1e6f, 0, 0};
        ExpectRealPoints(lookup, plain, places);
        if (shared == 1) {
            EXPECT_EQ(DifferenceOfNearest(lookup, plain, places, {5}), "") << "it is sound";
        }
        End();
    }
}

TEST_F(Lookup, AFileThatCannotBeReadTakesNoOtherWithIt) {
    constexpr std::int64_t kSmall = 1;
    PtcConfigure(1, kSmall, kSmall, nullptr);
    OpenBytes(BytesOf({5000}));
    OpenBytes(BytesOf({5000}));
    const PlainLookup plain = Plain();
    const PlainLookup other({names_[0]}, kVariables);
    const PtcLookup lookup = Made();
    ASSERT_TRUE(lookup);
    std::mt19937 random(9);
    int failed = 0;
    for (const std::uintmax_t size : {100'000u, 20'000u, 400u}) {
        std::filesystem::resize_file(names_[1], size);
        for (int i = 0; i < 50; ++i) {
            const float at[] = {4 + 4 * Coordinate(random), 4 + 4 * Coordinate(random), 4};
            std::int32_t files[30];
            std::int64_t indexes[30];
            PtcNearestArrays arrays;
            arrays.files = files;
            arrays.indexes = indexes;
            std::int32_t found = -1;
            if (!lookup.Nearest({at}, {30}, arrays, &found)) {
                ++failed;
                EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kUnreadable);
            }
            ASSERT_EQ(found, 30) << "the other file alone has as many";
            const std::vector<PlainFound> right = other.Nearest({at}, {30});
            std::size_t own = 0;
            for (int k = 0; k < found; ++k) {
                if (files[k] == 0) {
                    ASSERT_EQ(indexes[k], right[own++].index);
                }
            }
        }
    }
    EXPECT_GT(failed, 50);
}

// What a lookup knows of a file, such as where a variable's floats are, must not be applied to
// another content.
TEST_F(Lookup, AFileThatWasReplacedIsLeftOut) {
    std::mt19937 random(1);
    for (const std::size_t points : {100, 3000}) {
        OpenBytes(BytesOf({points}));
        OpenBytes(BytesOf({500}));
        const PtcLookup lookup = Made();
        ManyPlaces places;
        places.positions = {4, 4, 4};
        EXPECT_EQ(DifferenceOfNearest(lookup, Plain(), places, {400}), "");
        const std::vector<TreePoint> other(100, {{{4, 4, 4}, {0, 0, 1}, 1}, {}});
        WriteTo(names_[0], TreeCloud(other, {.declared = Declared::kNumberOnly}, random));
        ASSERT_EQ(PtcFinish(files_[0].Get()), 1);
        ASSERT_EQ(PtcOpenForReading(names_[0].c_str()), files_[0].Get());

        std::int32_t found = 0;
        std::int32_t files[400];
        float values[4], weights[2];
        EXPECT_FALSE(lookup.Nearest(places[0], {400}, {.files = files}, &found));
        EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kUnreadable);
        EXPECT_EQ(found, 400);
        EXPECT_EQ(std::count(files, files + found, 1), found);
        EXPECT_FALSE(lookup.Sample(places[0], {100}, values, weights));
        EXPECT_NE(std::string(PtcLastFailure().text).find("has changed"), std::string::npos);
        names_[0] = "";
        End();
    }
}

TEST_F(Lookup, UsesTheFirstHundredFilesAndTellsWhichItCannotUse) {
    for (int i = 0; i < 101; ++i) OpenBytes(BytesOf({20, i % 2 == 0}));
    {
        const PtcLookup lookup = Made();
        EXPECT_FALSE(lookup);
        ASSERT_EQ(told_.size(), 1u);
        EXPECT_EQ(told_[0].substr(0, 6), "T43053");
        EXPECT_TRUE(lookup.UsesFile(99));
        EXPECT_FALSE(lookup.UsesFile(100));
        names_.pop_back();
        ManyPlaces places;
        places.positions = {4, 4, 4};
        EXPECT_EQ(DifferenceOfNearest(lookup, Plain(), places, {1000}), "");
    }
    End();

    told_.clear();
    const std::string limit = "/lumrd/pointcloudmemory 100\n";
    ConfigReadFile(WriteTo(folder_.File("ini"), limit).c_str());
    OpenBytes(BytesOf({300, false}));
    OpenBytes(BytesOf({50'000, false}));
    OpenBytes(BytesOf({50'000}));
    {
        const PtcLookup lookup = Made();
        const char* const usual = "/lumrd/pointcloudmemory 1048576\n";
        ConfigReadFile(WriteTo(folder_.File("ini"), usual).c_str());
        EXPECT_FALSE(lookup);
        EXPECT_NE(std::string(PtcLastFailure().text).find(names_[1]), std::string::npos);
        ASSERT_EQ(told_.size(), 1u);
        EXPECT_EQ(told_[0].substr(0, 6), "T43054");
        EXPECT_NE(told_[0].find("ptc organize"), std::string::npos) << told_[0];
        EXPECT_TRUE(lookup.UsesFile(0) && !lookup.UsesFile(1) && lookup.UsesFile(2));
        ManyPlaces places;
        places.positions = {4, 4, 4};
        names_[1] = "";
        EXPECT_EQ(DifferenceOfNearest(lookup, Plain(), places, {1000}), "");
    }
}

TEST_F(Lookup, RefusesWhatItCannotAnswer) {
    OpenBytes(BytesOf({300}));
    PtcManagedFile* const files[] = {files_[0].Get(), nullptr};
    const PtcLookup lookup({files, 2, kVariables, 2});
    EXPECT_FALSE(lookup);
    EXPECT_TRUE(lookup.UsesFile(0));
    for (const int none : {-1, 1, 2}) EXPECT_FALSE(lookup.UsesFile(none));
    const float at[] = {4, 4, 4};
    float values[4], weights[2];
    std::int32_t found = -1;
    const auto is_refused = [](bool answered) {
        return !answered && PtcLastFailure().code == PtcFailureCode::kBadArgument;
    };
    for (const std::int32_t most : {0, -1, 65537})
        EXPECT_TRUE(is_refused(lookup.Nearest({at}, {most}, {}, &found))) << most;
    EXPECT_TRUE(is_refused(lookup.Nearest({}, {}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.Nearest({at}, {}, {}, nullptr)));
    EXPECT_TRUE(is_refused(lookup.Nearest({at}, {8, kNaN}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.NearestOfMany({-1, at}, {}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.NearestOfMany({1, nullptr}, {}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.Sample({at}, {}, nullptr, nullptr)));
    EXPECT_TRUE(lookup.Nearest({at}, {65536}, {}, &found));
    EXPECT_EQ(found, 300);
    // Without variables there is no data to store, not even a pointer to it to follow.
    float sink = 7;
    EXPECT_TRUE(PtcLookup({files, 1}).Nearest({at}, {}, {.data = &sink}, &found));
    EXPECT_EQ(sink, 7);
    for (const float none : {1.0f, kInfinity, kNaN})
        EXPECT_TRUE(is_refused(lookup.Sample({at}, {1, none}, values, weights))) << none;
    const float up[] = {0, 0, 1};
    EXPECT_TRUE(lookup.Sample({at, up}, {kInfinity, -kInfinity}, values, weights));
    EXPECT_EQ(weights[0], 300) << "all normals agree";
    EXPECT_TRUE(lookup.NearestOfMany({}, {}, {}, nullptr));
    const PtcLookup nothing({});
    EXPECT_TRUE(nothing.Nearest({at}, {}, {}, &found));
    EXPECT_EQ(found, 0);

    const MemoryCloud wide(WithVariables({"matrix[1048576]"}));
    OpenBytes(wide.Finished());
    PtcManagedFile* const file = files_[1].Get();
    const std::vector<const char*> names(128, "matrix[1048576]");
    const PtcLookup half({&file, 1, names.data(), 127});
    EXPECT_EQ(half.FloatsPerPoint(), 127 << 24);
    const PtcLookup all({&file, 1, names.data(), 128});
    EXPECT_FALSE(all);
    EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kBadArgument);
}

}  // namespace
