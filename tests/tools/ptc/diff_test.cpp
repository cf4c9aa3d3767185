// ptc diff as a user runs it: a table of pairs, and plain loops over the records.

#include <algorithm>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/tools/run_tool.h"

using namespace sound_cloud;
using nlohmann::json;

namespace {

constexpr std::size_t kCodes = 3, kRadius = 4, kArea = 5;  // fields of a record

std::size_t Place(std::size_t point, std::size_t field) {
    return kDataStart + point * kRecord + 4 * field;
}

/// What is changed of the sound cloud, in the first and in the second file.
using CloudChange = std::function<void(std::string* a, std::string* b)>;

template <class Value>
CloudChange InB(std::size_t at, Value value) {
    return [=](std::string*, std::string* b) { Put(b, at, value); };
}
template <class Value>
CloudChange InBoth(std::size_t at, Value of_a, Value of_b) {
    return [=](std::string* a, std::string* b) {
        Put(a, at, of_a);
        Put(b, at, of_b);
    };
}

struct PairCase {
    const char* name;
    CloudChange change;
    const char* options;
    int status;
    json found;  ///< by JSON pointers into the output
};

/// Makes `bytes` what they would be in version 1, or in version 0.
void MakeOlder(std::string* bytes, char version) {
    Put(bytes, 4, version);
    constexpr std::size_t kTreeVariables = 8 + 13;  // two counts and "float weight\n"
    if (version == 0) bytes->erase(kDataStart - kTreeVariables, kTreeVariables);
    const std::size_t kept = version == 0 ? 40 : 56;
    bytes->erase(kept, 188 - kept);
}

std::vector<PairCase> Pairs() {
    const json none = nullptr;
    const CloudChange moved = InB(Place(3, 0), 3.5f);  // was 3
    const CloudChange turned = InB(Place(3, kCodes), std::uint32_t{0});
    return {
        {"same", InB(0, Bytes()[0]), "", 0, {{"/same", true}, {"/points/pairs", 5}}},
        {"moved",
         moved,
         "",
         1,
         {{"/points/differ", 1},
          {"/channels/0/differ", 1},
          {"/channels/0/largest",
           {{"difference", 0.5}, {"point_a", 3}, {"point_b", 3}, {"a", 3.0}, {"b", 3.5}}},
          {"/channels/0/rms", std::sqrt(0.25 / 5)},
          {"/channels/1/largest", none}}},
        {"within the tolerance",
         moved,
         "--tolerance 0.5",
         0,
         {{"/channels/0/differ", 0}, {"/channels/0/largest/difference", 0.5}}},
        {"beyond it", moved, "--tolerance 0.499", 1, {{"/channels/0/differ", 1}}},
        {"a part of the greater one", moved, "--relative 0.143", 0, {{"/same", true}}},
        {"more than it", moved, "--relative 0.142", 1, {{"/same", false}}},
        {"version 1", [](std::string*, std::string* b) { MakeOlder(b, 1); }, "", 0, {}},
        {"version 0", [](std::string*, std::string* b) { MakeOlder(b, 0); }, "", 0, {}},
        {"NaN and a number",
         InB(Place(2, kArea), NAN),
         "--tolerance 9 --relative 1",
         1,
         {{"/channels/5/not_finite", 1},
          {"/channels/5/largest", none},
          {"/channels/5/first_not_finite/point_a", 2},
          {"/channels/5/rms", 0.0}}},
        {"two NaNs", InBoth(Place(2, kArea), NAN, -NAN), "", 0, {{"/channels/5/not_finite", 0}}},
        {"two infinities", InBoth(Place(2, kArea), HUGE_VALF, HUGE_VALF), "", 0, {}},
        {"opposite ones",
         InBoth(Place(2, kArea), HUGE_VALF, -HUGE_VALF),
         "--tolerance 9",
         1,
         {{"/channels/5/not_finite", 1}}},
        {"zeros", InBoth(Place(2, kArea), 0.0f, -0.0f), "", 0, {}},
        {"a normal at the other pole",
         turned,
         "--angle 179",
         1,
         {{"/channels/3/name", "normal"}, {"/channels/3/differ", 1}}},
        {"a pole in other words", InBoth(Place(3, kCodes), 0xFFFF0000u, 0xFFFF0007u), "", 0, {}},
        {"turned a little",
         InBoth(Place(3, kCodes), 0x80000000u, 0x80001000u),
         "--angle 22.6",
         0,
         {{"/channels/3/differ", 0}}},
        {"turned too far",
         InBoth(Place(3, kCodes), 0x80000000u, 0x80001000u),
         "--angle 22.4",
         1,
         {{"/channels/3/differ", 1}}},
        {"no normal",
         InB(Place(3, kCodes), std::uint32_t{0xFFFFFFFF}),
         "--angle 180",
         1,
         {{"/channels/3/not_finite", 1}}},
        {"box",
         InB(16, -0.625f),
         "",
         1,
         {{"/header", {{{"name", "box_min_x"}, {"a", -0.5}, {"b", -0.625}, {"differs", true}}}}}},
        {"box within", InB(16, -0.625f), "--tolerance 0.125", 0, {{"/header/0/differs", false}}},
        {"largest radius", InB(56, 2.0f), "", 1, {{"/header/0/name", "largest_radius"}}},
        {"matrix", InB(188 + 4 * 7, 2.0f), "", 1, {{"/header/0/name", "world_to_eye[1][3]"}}},
        {"format", InB(316, 320.0f), "", 1, {{"/header/0/name", "x_resolution"}}},
        {"type",
         InB(336 + 12, std::array{'p', 'o', 'i', 'n', 't'}),
         "",
         1,
         {{"/point_variables/types/0/b", "point"},
          {"/point_variables/types/0/compared", true},
          {"/channels/8/name", "glow_b"}}},
        {"name",
         InB(336 + 6, 'a'),
         "",
         1,
         {{"/point_variables/only_a/0/name", "_area"},
          {"/point_variables/only_b/0/name", "aarea"},
          {"/channels/5/name", "glow_r"},
          {"/channels/5/differ", 0}}},
        {"fewer points",
         [](std::string*, std::string* b) {
             *b = Bytes({.points = 4, .has_nodes = false});
             Put(b, Place(1, kRadius), 0.25f);
         },
         "",
         1,
         {{"/points/b", 4}, {"/points/pairs", 4}, {"/channels/4/differ", 1}}},
        {"fewer points, by place",
         [](std::string*, std::string* b) { *b = Bytes({.points = 4, .has_nodes = false}); },
         "--unordered",
         1,
         {{"/points/unpaired_a", 1}, {"/points/within", 0.25}}},
    };
}

TEST(PtcDiff, EveryPairHasItsFindingsInAllForms) {
    for (const PairCase& pair : Pairs()) {
        SCOPED_TRACE(pair.name);
        std::string a = Bytes({.has_nodes = false}), b = a;
        pair.change(&a, &b);
        const ToolFolder folder;
        folder.Write("a.ptc", a);
        folder.Write("b.ptc", b);
        folder.Write("a.ptc.gz", gzip_bytes::Whole(a));
        folder.Write("b.ptc.gz", gzip_bytes::Whole(b));
        const auto diff = [&](const std::string& files) {
            return folder.Run("diff --json " + std::string(pair.options) + ' ' + files);
        };
        const ToolRun run = diff("a.ptc b.ptc");
        EXPECT_EQ(run.status, pair.status);
        EXPECT_EQ(run.err, "");
        const json found = json::parse(run.out);
        EXPECT_EQ(found["same"], pair.status == 0);
        for (const auto& [pointer, value] : pair.found.items())
            EXPECT_EQ(found.value(json::json_pointer(pointer), json("missing")), value) << pointer;

        const auto tail = [](const std::string& text) { return text.substr(text.find("\"same")); };
        for (const char* files : {"a.ptc.gz b.ptc.gz", "- b.ptc.gz <a.ptc", "a.ptc.gz - <b.ptc"})
            EXPECT_EQ(tail(diff(files).out), tail(run.out)) << files;
        const ToolRun quiet = folder.Run("diff -q " + std::string(pair.options) + " a.ptc b.ptc");
        EXPECT_EQ(quiet.status, pair.status);
        EXPECT_EQ(quiet.out + quiet.err, "");
        EXPECT_EQ(folder.Run("diff " + std::string(pair.options) + " b.ptc a.ptc").status,
                  pair.status);
    }
}

/// The text form has seven digits, and the codes of normals.
TEST(PtcDiff, TextIsTheSameWithinItsDigits) {
    const ToolFolder folder;
    folder.Write("a.ptc", BytesOf({3000, false}));
    folder.Convert("a.ptc a.txt");
    EXPECT_EQ(folder.Run("diff -q a.ptc a.txt").status, 1);
    const ToolRun run = folder.Run("diff --relative 1e-6 --json a.ptc a.txt");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(json::parse(run.out).at("/channels/3/largest"_json_pointer), nullptr);
}

/// In more points than are read at a time.
TEST(PtcDiff, FiguresAreThoseOfAPlainLoop) {
    std::mt19937 random(3);
    CloudFile a{BytesOf({5000, false})};
    for (int round = 0; round < 10; ++round) {
        CloudFile b = a;
        for (std::size_t changes = random() % 60; changes > 0; --changes)
            Put(&b.bytes, b.DataStart() + random() % 5000 * b.Record() + 4 * 8,
                static_cast<float>(random() % 20));
        std::size_t differ = 0, worst = 0;
        double largest = 0, squares = 0;
        for (std::size_t i = 0; i < 5000; ++i) {
            const double d = std::fabs(double{a.PointValue(i, 8)} - double{b.PointValue(i, 8)});
            differ += d > 0;
            squares += d * d;  // of whole numbers: exact
            if (d > largest) worst = i;
            largest = std::max(largest, d);
        }
        const ToolFolder folder;
        folder.Write("a.ptc", a.bytes);
        folder.Write("b.ptc", b.bytes);
        for (const char* options : {"", "--unordered "}) {
            const json channel =
                json::parse(folder.Run(std::string("diff --json ") + options + "a.ptc b.ptc").out)
                    .at("/channels/8"_json_pointer);
            EXPECT_EQ(channel["differ"], differ);
            EXPECT_EQ(channel["rms"], std::sqrt(squares / 5000));
            if (differ == 0) continue;
            EXPECT_EQ(channel["largest"]["difference"], largest);
            EXPECT_EQ(channel["largest"]["point_a"], worst);
        }
    }
}

/// Many points in few places, and some nowhere, in another order: nothing differs. Then one value
/// is another one: one pair differs, wherever other pairs could have been made.
TEST(PtcDiffUnordered, AShuffledCopyIsTheSame) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        const std::size_t count = 1 + random() % 300;
        std::string a = Bytes({.points = count, .has_nodes = false});
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t axis = 0; axis < 3; ++axis)
                Put(&a, Place(i, axis), random() % 40 ? static_cast<float>(random() % 3) : NAN);
            Put(&a, Place(i, kCodes), static_cast<std::uint32_t>(random() % 2));
            Put(&a, Place(i, kArea), random() % 9 ? static_cast<float>(random() % 3) : NAN);
        }
        std::vector<std::size_t> order(count);
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), random);
        std::string b = a;
        for (std::size_t i = 0; i < count; ++i)
            b.replace(Place(i, 0), kRecord, a, Place(order[i], 0), kRecord);
        const ToolFolder folder;
        folder.Write("a.ptc", a);
        folder.Write("b.ptc", b);
        ToolRun run = folder.Run("diff --unordered a.ptc b.ptc");
        EXPECT_EQ(run.status, 0) << run.out;

        Put(&b, Place(random() % count, kArea), 77.0f);
        folder.Write("b.ptc", b);
        run = folder.Run("diff --unordered --json a.ptc b.ptc");
        EXPECT_EQ(run.status, 1);
        const json found = json::parse(run.out);
        EXPECT_EQ(found["points"]["differ"], 1);
        EXPECT_EQ(found["points"]["pairs"], count);
        EXPECT_EQ(found["points"]["unpaired_b"], 0);
        EXPECT_EQ(found["channels"][5]["differ"], 1);
    }
}

/// Of a thinned cloud, against all distances.
TEST(PtcDiffUnordered, PairsAreThoseOfAPlainSearch) {
    std::mt19937 random(9);
    std::uniform_real_distribution<float> place(0, 4);
    constexpr std::size_t kCount = 400;
    constexpr float kWithin = 0.5f;
    std::string a = Bytes({.points = kCount, .has_nodes = false});
    for (std::size_t i = 0; i < kCount; ++i)
        for (std::size_t axis = 0; axis < 3; ++axis) Put(&a, Place(i, axis), place(random));
    std::string b = Bytes({.points = kCount / 4, .has_nodes = false});
    for (std::size_t i = 0; i < kCount / 4; ++i)
        b.replace(Place(i, 0), kRecord, a, Place(3 * i, 0), kRecord);
    for (std::size_t i = 0; i < 20; ++i) Put(&b, Place(i, 0), i < 5 ? 99.0f : place(random));

    const CloudFile in_a{a}, in_b{b};
    std::size_t unpaired = 0, moved = 0;
    std::vector<bool> is_paired(kCount / 4);
    double largest = 0;
    for (std::size_t i = 0; i < kCount; ++i) {
        float nearest = HUGE_VALF;
        std::size_t partner = 0;
        for (std::size_t j = 0; j < kCount / 4; ++j) {
            float d[3];
            for (std::size_t axis = 0; axis < 3; ++axis)
                d[axis] = in_b.At<float>(Place(j, axis)) - in_a.At<float>(Place(i, axis));
            const float squared = (d[0] * d[0] + d[1] * d[1]) + d[2] * d[2];
            if (squared < nearest) partner = j;
            nearest = std::min(nearest, squared);
        }
        if (nearest > kWithin * kWithin) {
            ++unpaired;
            continue;
        }
        moved += nearest > 0;
        is_paired[partner] = true;
        largest = std::max(largest, std::fabs(double{in_a.At<float>(Place(i, 0))} -
                                              double{in_b.At<float>(Place(partner, 0))}));
    }
    ASSERT_GT(moved, 20u);
    ASSERT_GT(unpaired, 20u);
    const ToolFolder folder;
    folder.Write("a.ptc", a);
    folder.Write("b.ptc", b);
    folder.Convert("b.ptc b.txt.gz");
    for (const char* other : {"b.ptc", "b.txt.gz"}) {
        const json found = json::parse(
            folder.Run(std::string("diff --json --unordered --within 0.5 a.ptc ") + other).out);
        EXPECT_EQ(found["points"]["unpaired_a"], unpaired);
        EXPECT_EQ(found["points"]["unpaired_b"],
                  std::count(is_paired.begin(), is_paired.end(), false));
        EXPECT_NEAR(found["channels"][0]["largest"]["difference"], largest, 1e-6);
        if (std::string(other) == "b.ptc") {
            EXPECT_EQ(found["points"]["moved"], moved);
        }
    }
}

TEST(PtcDiff, ReportsAreThoseOfTheTranscript) {
    const ToolFolder folder;
    folder.Write("a.ptc", Bytes());
    folder.Write("flat.ptc", Bytes({.has_nodes = false}));
    std::string nowhere = Bytes({.has_nodes = false});
    for (std::size_t i = 0; i < kPoints; ++i) Put(&nowhere, Place(i, 0), NAN);
    folder.Write("nowhere.ptc", nowhere);
    folder.Write("empty.ptc", Bytes({.points = 0, .has_nodes = false}));
    folder.Write("cut.ptc", Bytes({.has_nodes = false}).substr(0, kDataStart + kRecord + 1));
    std::string huge = Bytes({.has_nodes = false}).substr(0, kDataStart);
    Put(&huge, 8, 5e9);
    folder.Write("huge.ptc", huge);
    folder.Write("left.csv",
                 "x,y,z,nx,ny,nz,radius,level,v_x,v_y,v_z\n0,0,0,0,0,1,0.5,1,1,2,3\n"
                 "1,0,0,0,0,1,0.5,2,1,2,3\n2,0,0,0,1,0,0.5,3,1,2,3\n3,0,0,0,0,0,0.5,4,1,2,3\n");
    folder.Write("right.csv",
                 "x,y,z,nx,ny,nz,radius,v_x,v_y,v_z,level,extra\n0,0,0,0,0,1,0.5,1,2,3,1,9\n"
                 "1,0,0.25,0,1,1,0.5,1,2.5,3,2,9\n2,0,0,0,1,0,0.5,1,2,3,inf,9\n");
    folder.Convert("left.csv left.ptc");
    folder.Convert("right.csv right.ptc");
    const auto before = folder.Names();
    folder.ExpectTranscript("ptc_diff.txt", [&] { EXPECT_EQ(folder.Names(), before); });
}

}  // namespace
