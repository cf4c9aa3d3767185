// The reader: what it opens, what it refuses and why, what it answers.

#include "ptc/cloud/reader.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>

#include "ptc/cloud/header_query.h"
#include "tests/ptc/memory_cloud.h"
#include "tests/support/memory_source.h"
#include "tests/support/scratch.h"
#include "tests/support/small_cloud.h"

namespace {

std::unique_ptr<CloudReader> Open(const std::string& bytes, std::string* why = nullptr,
                                  CountCheck check = CountCheck::kStrict) {
    std::string reason;
    auto cloud = OpenCloud(std::make_unique<MemorySource>(bytes), "memory", &reason, {check});
    if (why) *why = reason;
    return cloud;
}

template <class T>
std::string With(std::string bytes, std::size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
    return bytes;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

TEST(PtcReader, BothFormsAnswerWhatWasWritten) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const std::string bytes = SmallCloud(form);
        const auto cloud = Open(bytes);
        ASSERT_TRUE(cloud);
        EXPECT_EQ(cloud->input.IsText(), form == TokenForm::kText);
        EXPECT_EQ(cloud->point_variables.types, (std::vector<std::string>{"float", "color[2]"}));
        EXPECT_EQ(cloud->point_variables.names, (std::vector<std::string>{"_area", ""}));

        PointHead heads[4];
        std::vector<float> data(4 * 7);
        std::size_t count = 0;
        EXPECT_EQ(ReadPoints(*cloud, heads, data, &count), CloudStatus::kFailed) << "there are 3";
        ASSERT_EQ(count, 3u);
        EXPECT_EQ(heads[1].position[0], 1.5f);
        EXPECT_EQ(heads[2].radius, 2.0f);
        EXPECT_EQ(data[7 + 6], 16.0f);
        EXPECT_EQ(heads[0].normal[0], 0.0f);
        EXPECT_EQ(heads[0].normal[2], 0.0f) << "a normal without a direction";
        EXPECT_NEAR(heads[1].normal[1], 1.0f, 1e-4);

        // Backwards, onwards, and out of the file.
        for (const std::int64_t index : {2, 0, 1}) {
            ASSERT_EQ(SeekPoint(*cloud, index), CloudStatus::kOk);
            ASSERT_EQ(ReadPoints(*cloud, std::span(heads, 1), {}, &count), CloudStatus::kOk);
            EXPECT_EQ(heads[0].position[0], 0.5f + static_cast<float>(index));
        }
        EXPECT_EQ(SeekPoint(*cloud, 4), CloudStatus::kFailed);
        EXPECT_EQ(SeekPoint(*cloud, -1), CloudStatus::kFailed);

        NodeRecord root;
        std::array<float, 3> values{};
        std::int64_t end = 0;
        ASSERT_EQ(ReadNode(*cloud, cloud->root_position, &root, values, &end), CloudStatus::kOk);
        EXPECT_EQ(end, static_cast<std::int64_t>(bytes.size()));
        EXPECT_EQ(root.child_mask, 0x81);
        EXPECT_EQ(root.box[5], 6.0f);
        EXPECT_EQ(values[2], 0.75f);
        NodeRecord other;
        ASSERT_EQ(ReadNode(*cloud, root.children[7], &other, {}), CloudStatus::kOk);
        EXPECT_EQ(other.first_point, 1);
        for (const std::int64_t nowhere : {end - 2, std::int64_t{-1}})
            EXPECT_EQ(ReadNode(*cloud, nowhere, &other, {}), CloudStatus::kFailed);
        EXPECT_EQ(SeekPoint(*cloud, 1), CloudStatus::kOk) << "nodes do not spoil the points";
    }
}

// Runs long enough to pass the read-ahead by, and places before, inside and behind it.
TEST(PtcReader, RunsInAnyOrderAreThoseOfTheFile) {
    constexpr std::int64_t kPoints = 3000;
    std::mt19937 random(7);
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        MemoryCloud made({}, form);
        for (std::int64_t i = 0; i < kPoints; ++i)
            ASSERT_FALSE(Failed(WritePoint(*made.cloud, {{float(i), 0, 0}, {}, 1}, nullptr)));
        ASSERT_FALSE(Failed(FinishCloud(*made.cloud)));
        const auto cloud = Open(made.Bytes());
        ASSERT_TRUE(cloud);
        std::vector<PointHead> heads(1000);
        for (int round = 0; round < 300; ++round) {
            const std::int64_t first = random() % kPoints;
            const auto wanted = static_cast<std::size_t>(random() % 2 ? 1 + random() % 1000 : 1);
            const std::size_t there = std::min(wanted, static_cast<std::size_t>(kPoints - first));
            std::size_t count = 0;
            ASSERT_EQ(SeekPoint(*cloud, first), CloudStatus::kOk);
            EXPECT_EQ(Failed(ReadPoints(*cloud, std::span(heads).first(wanted), {}, &count)),
                      there < wanted);
            ASSERT_EQ(count, there);
            for (std::size_t i = 0; i < there; ++i)
                ASSERT_EQ(heads[i].position[0], static_cast<float>(first) + float(i)) << round;
        }
    }
}

/// What the reader answers to `request`; zero when it refuses, which `is_known` says it should.
template <class T>
T Ask(const CloudHeader& cloud, const char* request, bool is_known = true) {
    T value{};
    EXPECT_EQ(GetHeaderValue(cloud, request, &value),
              is_known ? CloudStatus::kOk : CloudStatus::kFailed)
        << request;
    return value;
}

TEST(PtcReader, RequestsByName) {
    const auto cloud = Open(SmallCloud(TokenForm::kBinary));
    ASSERT_TRUE(cloud);
    const std::pair<const char*, int> counts[] = {
        {"version", 2},    {"npoints", 3},       {"nnodes", 2},    {"nvars", 2},
        {"npointvars", 2}, {"pointdatasize", 7}, {"ntreevars", 1}, {"treedatasize", 3}};
    for (const auto& [request, wanted] : counts)
        EXPECT_EQ(Ask<std::int32_t>(*cloud, request), wanted) << request;
    const std::tuple<const char*, std::size_t, float> floats[] = {
        {"bbox", 0, -0.5f},    {"bbox", 5, 4.0f},       {"largestradius", 0, 2.0f},
        {"format", 1, 480.0f}, {"world2eye", 14, 5.0f}, {"world2ndc", 0, 2.0f}};
    for (const auto& [request, at, wanted] : floats)
        EXPECT_EQ((Ask<std::array<float, 16>>(*cloud, request)[at]), wanted) << request;
    EXPECT_EQ(Ask<std::int64_t>(*cloud, "rootpos"), cloud->root_position);
    EXPECT_EQ(Ask<std::int64_t>(*cloud, "firstpointpos"), cloud->data_start);
    const std::tuple<const char*, std::size_t, const char*> texts[] = {
        {"pointvartypes", 1, "color[2]"},
        {"pointvarnames", 1, ""},
        {"treevartypes", 0, "color"},
        {"treevarnames", 0, "glow"}};
    for (const auto& [request, last, wanted] : texts) {
        char** const answer = Ask<char**>(*cloud, request);
        ASSERT_TRUE(answer);
        EXPECT_STREQ(answer[last], wanted) << request;
        for (std::size_t i = 0; i <= last; ++i) std::free(answer[i]);
        std::free(answer);
    }
    for (const char* request : {"varsizes", "pointvarsizes"}) {
        auto* const sizes = Ask<std::int32_t*>(*cloud, request);
        ASSERT_TRUE(sizes);
        EXPECT_EQ(sizes[1], 6);
        std::free(sizes);
    }
    for (const char* request : {"", "Version", "world_to_eye", "npoints "})
        EXPECT_EQ(Ask<std::int64_t>(*cloud, request, false), 0);
    cloud->point_count = 5'000'000'000;
    EXPECT_EQ(Ask<std::int32_t>(*cloud, "npoints"), 2147483647);
}

TEST(PtcReader, WhatIsRefusedAndWhy) {
    const std::string binary = SmallCloud(TokenForm::kBinary);
    const double nan = std::nan("");
    const std::string sizes = "its number of points is impossible";
    const std::string shorter = "it is shorter than its number of points takes";
    const std::string text = SmallCloud(TokenForm::kText, false);
    const std::size_t floats = text.find("pointdatasize");
    // Three points without data, in as few bytes as a line can have.
    const std::string bare = text.substr(0, floats - 13) + "npointvars 0\npointdatasize 0\n" +
                             "ntreevars 0\ntreedatasize 0\n" +
                             "1 2 3 0 0 1\n1 2 3 0 0 1\n1 2 3 0 0 1\n";
    struct Row {
        std::string bytes;
        std::string why;  // empty: opened
    };
    for (const Row& row : {
             Row{"", "it is not a point cloud file"},
             Row{With(binary, 0, 'x'), "it is not a point cloud file"},
             Row{With(binary, 4, 3), "its version is not known"},
             Row{With(binary, 4, -1), "its version is not known"},
             Row{With(binary, 8, nan), sizes},
             Row{With(binary, 8, -1.0), sizes},
             Row{With(binary, 8, 2.5), sizes},
             Row{With(binary, 8, 2.0005), sizes},
             Row{With(binary, 8, 2.0), ""},
             Row{With(binary, 8, 1e15), shorter},
             Row{With(binary, 40, -nan), "its number of octree nodes is impossible"},
             Row{With(binary, 40, 1e9), "it is shorter than its number of octree nodes takes"},
             Row{With(binary, 328, 1001), "its number of variables is impossible"},
             Row{With(binary, 332, 8), "its data size is not that of its variables"},
             Row{With(binary, 336, 'F'), "a variable's type is not known or has no floats"},
             Row{With(binary, 348 + 6, '0'), "a variable's type is not known or has no floats"},
             Row{binary.substr(0, 340), "the header is cut off or damaged"},
             Row{Replaced(text, "File\n", "Files\n"), "it is not a point cloud file"},
             Row{Replaced(text, "float _area", " float  _area x"), ""},
             Row{bare, ""},
             Row{bare.substr(0, bare.size() - 1), shorter},
             // As many floats as a writer takes, and one more.
             Row{Replaced(Replaced(text, "size 7", "size 16777216"), "color[2] ",
                          "float[16777215] c"),
                 ""},
             Row{Replaced(Replaced(text, "size 7", "size 16777217"), "color[2] ",
                          "float[16777216] c"),
                 "its variables take too many floats"},
         }) {
        std::string why;
        EXPECT_EQ(Open(row.bytes, &why) != nullptr, row.why.empty()) << row.why;
        EXPECT_EQ(why, row.why);
    }
    EXPECT_TRUE(Open(With(binary, 8, 1e15), nullptr, CountCheck::kOff));

    std::string huge = SmallCloud(TokenForm::kText);
    huge.replace(huge.find("float _area"), 11, "float " + std::string(600, 'a'));
    std::string why;
    EXPECT_FALSE(Open(huge, &why));
    EXPECT_EQ(why, "a variable's declaration is too long");
}

TEST(PtcReader, EveryCutBeforeTheDataIsRefusedAndNoCutCrashes) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const std::string bytes = SmallCloud(form);
        const auto start = static_cast<std::size_t>(Open(bytes)->data_start);
        testing::internal::CaptureStdout();
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const auto cloud = Open(bytes.substr(0, length), nullptr, CountCheck::kOff);
            EXPECT_EQ(cloud != nullptr, length >= start) << length;
            if (!cloud) continue;
            PointHead heads[3];
            std::array<float, 21> data;
            std::size_t count = 0;
            (void)ReadPoints(*cloud, heads, data, &count);
            NodeRecord node;
            EXPECT_EQ(ReadNode(*cloud, cloud->root_position, &node, {}), CloudStatus::kFailed);
        }
        fflush(stdout);
        const std::string said = testing::internal::GetCapturedStdout();
        EXPECT_NE(said.find("WARNING: Wrong point data in point cloud file!\n"), said.npos);
        EXPECT_NE(said.find("WARNING: Wrong data size in point cloud file!\n"), said.npos);
    }
}

TEST(PtcReader, AnyHeaderWordMayBeAnything) {
    const std::string bytes = SmallCloud(TokenForm::kBinary);
    const auto start = static_cast<std::size_t>(Open(bytes)->data_start);
    testing::internal::CaptureStdout();
    for (std::size_t at = 0; at + 4 <= start; at += 4) {
        for (const std::uint32_t word : {0U, 0xFFFFFFFFU, 0x80000000U, 0x7FFFFFFFU, 0x7FC00000U}) {
            const auto cloud = Open(With(bytes, at, word));
            if (!cloud) continue;
            PointHead heads[4];
            std::size_t count = 0;
            (void)ReadPoints(*cloud, heads, {}, &count);
            EXPECT_LE(count, 3u);
        }
    }
    testing::internal::GetCapturedStdout();
}

TEST(PtcReader, AnInvalidFormatBringsTheDefaults) {
    const std::string bytes = SmallCloud(TokenForm::kBinary);
    struct Row {
        float x, y, aspect;
        bool is_valid;
    };
    for (const Row& row :
         {Row{16000, 1, 0.5f, true}, Row{20000, 480, 1, false}, Row{640, 0.5f, 1, false},
          Row{NAN, 480, 1, false}, Row{640, 480, 0, false}, Row{640, 480, NAN, false},
          Row{640, 480, -1, false}}) {
        const auto cloud = Open(With(With(With(bytes, 316, row.x), 320, row.y), 324, row.aspect));
        ASSERT_TRUE(cloud);
        EXPECT_EQ(cloud->x_resolution, row.is_valid ? 16000 : 640);
        EXPECT_EQ(cloud->y_resolution, row.is_valid ? 1 : 480);
        EXPECT_EQ(cloud->pixel_aspect, row.is_valid ? 0.5f : 1.0f);
        EXPECT_EQ(cloud->world_to_ndc[0], row.is_valid ? 2.0f : 1.811f);
        EXPECT_EQ(cloud->world_to_ndc[14], row.is_valid ? 0.0f : -0.1f);
        EXPECT_EQ(cloud->stored_world_to_ndc[0], 2.0f);
        EXPECT_EQ(cloud->world_to_eye[14], 5.0f);
    }
}

TEST(PtcReader, OlderVersionsLackWhatTheyLack) {
    const std::string bytes = SmallCloud(TokenForm::kBinary, false);
    // Version 1 has no largest radius and no padding; version 0 no octree and no tree variables.
    const std::string one = With(bytes.substr(0, 56) + bytes.substr(188), 4, 1);
    const std::size_t tree_variables = bytes.size() - 3 * 48 - 8 - std::strlen("color glow\n");
    const std::string zero = With(bytes.substr(0, 40) + bytes.substr(188, tree_variables - 188) +
                                      bytes.substr(bytes.size() - 3 * 48),
                                  4, 0);
    for (const std::string& older : {one, zero}) {
        const auto cloud = Open(older);
        ASSERT_TRUE(cloud);
        EXPECT_EQ(cloud->largest_radius, 0.0f);
        EXPECT_EQ(cloud->data_start, static_cast<std::int64_t>(older.size()) - 3 * 48);
        EXPECT_EQ(cloud->node_variables.data_size, older == one ? 3 : 0);
        PointHead heads[3];
        std::size_t count = 0;
        EXPECT_EQ(ReadPoints(*cloud, heads, {}, &count), CloudStatus::kOk);
        EXPECT_EQ(heads[2].position[0], 2.5f);
    }
}

TEST(PtcReader, ACompressedFileIsReadWithoutItsOctree) {
    const ScratchFolder folder;
    const std::string bytes = SmallCloud(TokenForm::kBinary);
    const std::string name = folder.File("a.ptc");
    gzFile out = gzopen(name.c_str(), "wb");
    gzwrite(out, bytes.data(), static_cast<unsigned>(bytes.size()));
    gzclose(out);
    std::string why;
    testing::internal::CaptureStderr();
    const auto cloud = OpenCloud(name.c_str(), &why);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "T43050 Organized point cloud file '" + name +
                  "' is gzipped; will be treated as unorganized. (WARNING)\n");
    ASSERT_TRUE(cloud) << why;
    EXPECT_EQ(cloud->node_count + cloud->root_position, 0);
    EXPECT_EQ(cloud->stored_node_count, 2);
    PointHead heads[3];
    std::size_t count = 0;
    for (const int index : {2, 0}) EXPECT_EQ(SeekPoint(*cloud, index), CloudStatus::kOk);
    EXPECT_EQ(ReadPoints(*cloud, heads, {}, &count), CloudStatus::kOk);

    // A stream that breaks off within the header.
    const std::string compressed = ContentOf(name);
    std::ofstream(name, std::ios::binary) << compressed.substr(0, 60);
    const std::pair<std::string, const char*> failures[] = {
        {name, "the header is cut off or damaged"},
        {folder.File("none"), "No such file or directory"},
        {folder.File(""), "Is a directory"}};
    for (const auto& [file, reason] : failures) {
        EXPECT_FALSE(OpenCloud(file.c_str(), &why));
        EXPECT_EQ(why, reason);
    }
}

}  // namespace
