// The C interface beside the C++ one: the same answers, and its own refusals.

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <thread>

#include "ptc/access.h"
#include "ptc/lookup.h"
#include "ptc/ptc.h"
#include "ptc/version.h"
#include "tests/support/cloud_forms.h"
#include "tests/support/scratch.h"
#include "tests/support/together.h"
#include "util/host/config.h"

namespace {

constexpr std::int64_t kPoints = 1500;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class CInterface : public testing::Test {
protected:
    CInterface() {
        // Fails with something else, which must not show in the failure of the call.
        ptc_set_message_handler([](int32_t, int32_t, const char*) {
            ptc_cloud* none = nullptr;
            return ptc_open("/nowhere/else", &none) == PTC_OK ? 1 : 0;
        });
    }
    ~CInterface() override {
        ptc_shutdown();
        ptc_set_message_handler(nullptr);
    }

    std::string File(const std::string& bytes, const char* name = "a.ptc") const {
        return WriteTo(folder_.File(name), bytes);
    }
    static ptc_cloud* Opened(const std::string& name) {
        ptc_cloud* cloud = nullptr;
        EXPECT_EQ(ptc_open(name.c_str(), &cloud), PTC_OK) << ptc_last_error();
        return cloud;
    }

    const ScratchFolder folder_;
};

/// Answers of a search, and what an unfilled or refused one leaves.
struct Answers {
    explicit Answers(std::size_t count, std::int32_t most)
        : indexes(count * static_cast<std::size_t>(most), -7),
          distances(indexes.size(), -7.0f),
          found(count, -7) {}
    bool operator==(const Answers&) const = default;

    std::vector<std::int64_t> indexes;
    std::vector<float> distances;
    std::vector<std::int32_t> found;
};

TEST_F(CInterface, AnswersWhatTheOtherInterfaceAnswers) {
    std::mt19937 random(3);
    std::vector<float> places(3 * 100);
    for (float& place : places) place = static_cast<float>(random() % 9000) / 1000;
    places[4] = kNaN;
    for (const CloudForm& form : AllForms(kPoints)) {
        SCOPED_TRACE(form.name);
        const std::string name = File(form.bytes, form.name);
        ptc_cloud* const cloud = Opened(name);
        ASSERT_TRUE(cloud);
        const PtcFile file(name.c_str());
        PtcHeader wanted{};
        ptc_header header{};
        ASSERT_TRUE(PtcGetHeader(file.Get(), &wanted));
        ASSERT_EQ(ptc_get_header(cloud, &header), PTC_OK);
        EXPECT_EQ(header.points, kPoints);
        EXPECT_EQ(header.nodes, wanted.nodes);
        EXPECT_EQ(header.nodes > 0, form.has_nodes);
        EXPECT_EQ(std::memcmp(header.box, wanted.box, sizeof header.box), 0);
        EXPECT_EQ(header.largest_radius, wanted.largest_radius);
        EXPECT_EQ(std::memcmp(header.world_to_eye, wanted.world_to_eye, sizeof wanted.world_to_eye),
                  0);
        EXPECT_EQ(std::memcmp(header.world_to_ndc, wanted.world_to_ndc, sizeof wanted.world_to_eye),
                  0);
        EXPECT_EQ(std::memcmp(header.format, wanted.format, sizeof header.format), 0);
        EXPECT_EQ(header.floats_per_point, 4);
        ASSERT_EQ(header.variables, 2);
        ptc_variable variable{};
        ASSERT_EQ(ptc_get_variable(cloud, 1, &variable), PTC_OK);
        EXPECT_EQ(std::string(variable.type) + " " + variable.name, "float number");
        EXPECT_EQ(variable.first, 3);
        EXPECT_EQ(variable.size, 1);

        std::vector<float> read(11 * kPoints), plain(11 * kPoints);
        const auto arrays = [](std::vector<float>& all) {
            return PtcPointArrays{&all[0], &all[3 * kPoints], &all[6 * kPoints], &all[7 * kPoints]};
        };
        const PtcPointArrays to = arrays(read);
        std::int64_t got = 0;
        ASSERT_EQ(
            ptc_read_points(cloud, 0, kPoints, to.positions, to.normals, to.radii, to.data, &got),
            PTC_OK);
        EXPECT_EQ(got, kPoints);
        ASSERT_EQ(PtcGetPoints(file.Get(), 0, kPoints, arrays(plain)), kPoints);
        EXPECT_EQ(read, plain);

        PtcManagedFile* const files[] = {file.Get()};
        const PtcLookup lookup({.files = files, .file_count = 1});
        for (const float within : {kInfinity, 0.05f}) {
            Answers from_c(100, 9), from_cpp(100, 9);
            ASSERT_EQ(ptc_nearest(cloud, 100, places.data(), 9, within, from_c.indexes.data(),
                                  from_c.distances.data(), from_c.found.data()),
                      PTC_OK)
                << ptc_last_error();
            ASSERT_TRUE(lookup.NearestOfMany({100, places.data()}, {.most = 9, .within = within},
                                             {.indexes = from_cpp.indexes.data(),
                                              .squared_distances = from_cpp.distances.data()},
                                             from_cpp.found.data()));
            EXPECT_EQ(from_c.found[1], 0) << "near a place that is no number";
            for (std::size_t i = 0; i < 900; ++i) {
                if (static_cast<std::int32_t>(i % 9) < from_cpp.found[i / 9]) continue;
                from_cpp.indexes[i] = -1;
                from_cpp.distances[i] = kInfinity;
            }
            EXPECT_EQ(from_c, from_cpp);
            // Without the counts the marks tell what is filled.
            std::vector<std::int64_t> indexes(900);
            ASSERT_EQ(
                ptc_nearest(cloud, 100, places.data(), 9, within, indexes.data(), nullptr, nullptr),
                PTC_OK);
            EXPECT_EQ(indexes, from_c.indexes);
        }
        ptc_close(cloud);
    }
}

TEST_F(CInterface, WhatIsRefusedHasAStatusAndWords) {
    const std::string name = File(BytesOf({100, false}));
    const std::string text = File("no cloud\n", "text");
    std::string cut = gzip_bytes::Whole(BytesOf({3000, false}));
    cut.resize(cut.size() / 2);
    const std::string damaged = File(cut, "damaged");
    ptc_cloud* const cloud = Opened(name);
    ptc_cloud* const broken = Opened(damaged);
    ASSERT_TRUE(cloud && broken);
    std::thread([] { EXPECT_STREQ(ptc_last_error(), ""); }).join();

    ptc_cloud* none = cloud;
    ptc_header header{};
    ptc_variable variable{};
    std::int64_t got = -7;
    float place[3] = {};
    Answers answers(1, 4);
    const auto open = [&](const char* file) {
        none = cloud;
        const ptc_status status = ptc_open(file, &none);
        EXPECT_EQ(none, nullptr);
        return status;
    };
    const auto read = [&](const ptc_cloud* from, std::int64_t first, std::int64_t count) {
        return ptc_read_points(from, first, count, nullptr, nullptr, nullptr, nullptr, &got);
    };
    const auto nearest = [&](std::int64_t count, const float* places, std::int32_t most,
                             float within, const ptc_cloud* from) {
        return ptc_nearest(from, count, places, most, within, answers.indexes.data(),
                           answers.distances.data(), answers.found.data());
    };
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    const struct {
        const char* words;
        ptc_status wanted;
        std::function<ptc_status()> call;
    } cases[] = {
        {"no file name", PTC_BAD_ARGUMENT, [&] { return open(nullptr); }},
        {"no place for the cloud", PTC_BAD_ARGUMENT, [&] { return ptc_open("a", nullptr); }},
        {": cannot be opened: No such file", PTC_CANNOT_OPEN, [&] { return open("/nowhere/a"); }},
        {": cannot be opened: ", PTC_CANNOT_OPEN, [&] { return open(""); }},
        {"text: cannot be opened: ", PTC_NOT_A_CLOUD, [&] { return open(text.c_str()); }},
        {"no cloud", PTC_BAD_ARGUMENT, [&] { return ptc_get_header(nullptr, &header); }},
        {"a.ptc: no place for the header", PTC_BAD_ARGUMENT,
         [&] { return ptc_get_header(cloud, nullptr); }},
        {"no cloud", PTC_BAD_ARGUMENT, [&] { return ptc_get_variable(nullptr, 0, &variable); }},
        {"no place for the variable", PTC_BAD_ARGUMENT,
         [&] { return ptc_get_variable(cloud, 0, nullptr); }},
        {"has no variable", PTC_NO_SUCH_RECORD,
         [&] { return ptc_get_variable(cloud, 2, &variable); }},
        {"has no variable", PTC_NO_SUCH_RECORD,
         [&] { return ptc_get_variable(cloud, -1, &variable); }},
        {"no cloud", PTC_BAD_ARGUMENT, [&] { return read(nullptr, 0, 1); }},
        {"point's number is negative", PTC_BAD_ARGUMENT, [&] { return read(cloud, -1, 1); }},
        {"number of points is negative", PTC_BAD_ARGUMENT, [&] { return read(cloud, 0, -1); }},
        {"point 100: there is none", PTC_NO_SUCH_RECORD, [&] { return read(cloud, 100, 1); }},
        {"there is none", PTC_NO_SUCH_RECORD, [&] { return read(cloud, kMost, kMost); }},
        {"", PTC_OK, [&] { return read(cloud, 100, 0); }},
        {"cannot be read", PTC_UNREADABLE, [&] { return read(broken, 2900, 1); }},
        {"no cloud", PTC_BAD_ARGUMENT, [&] { return nearest(1, place, 4, 1, nullptr); }},
        {"no places", PTC_BAD_ARGUMENT, [&] { return nearest(1, nullptr, 4, 1, cloud); }},
        {"is negative", PTC_BAD_ARGUMENT, [&] { return nearest(-1, place, 4, 1, cloud); }},
        {"1 to 65536", PTC_BAD_ARGUMENT, [&] { return nearest(1, place, 0, 1, cloud); }},
        {"1 to 65536", PTC_BAD_ARGUMENT, [&] { return nearest(1, place, 65537, 1, cloud); }},
        {"from 0 on", PTC_BAD_ARGUMENT, [&] { return nearest(1, place, 4, -1, cloud); }},
        {"from 0 on", PTC_BAD_ARGUMENT, [&] { return nearest(1, place, 4, kNaN, cloud); }},
        {"memory can have", PTC_BAD_ARGUMENT, [&] { return nearest(kMost, place, 1, 1, cloud); }},
        {"memory can have", PTC_BAD_ARGUMENT,
         [&] { return nearest(kMost / 65536, place, 65536, 1, cloud); }},
        {"", PTC_OK, [&] { return nearest(0, nullptr, 4, 1, cloud); }},
    };
    for (const auto& row : cases) {
        got = -7;
        EXPECT_EQ(row.call(), row.wanted) << row.words;
        EXPECT_NE(std::string(ptc_last_error()).find(row.words), std::string::npos)
            << ptc_last_error();
        EXPECT_EQ(answers, Answers(1, 4)) << "something was stored";
        if (row.wanted == PTC_BAD_ARGUMENT) {
            EXPECT_EQ(got, -7) << row.words;
        } else {
            EXPECT_LE(got, 0) << row.words;
        }
    }
    EXPECT_EQ(open("/nowhere/a"), PTC_CANNOT_OPEN);
    EXPECT_EQ(ptc_last_system_error(), ENOENT);

    // What can be read of a run is there; a failed search marks its answers.
    EXPECT_EQ(read(cloud, 90, 100), PTC_NO_SUCH_RECORD);
    EXPECT_EQ(got, 10);
    for (int attempt = 0; attempt < 2; ++attempt) {
        answers = Answers(1, 4);
        EXPECT_EQ(nearest(1, place, 4, kInfinity, broken), PTC_UNREADABLE) << ptc_last_error();
        EXPECT_EQ(answers.found[0], 0);
        EXPECT_EQ(answers.indexes[3], -1);
        EXPECT_EQ(answers.distances[0], kInfinity);
    }
    // A later attempt to make an octree may succeed.
    const auto limit = [&](const char* kilobytes) {
        const std::string option = "/lumrd/pointcloudmemory " + std::string(kilobytes) + "\n";
        ConfigReadFile(File(option, "ini").c_str());
    };
    limit("1");
    EXPECT_EQ(nearest(1, place, 4, kInfinity, cloud), PTC_NO_MEMORY) << ptc_last_error();
    EXPECT_EQ(answers.found[0], 0);
    limit("1048576");
    EXPECT_EQ(nearest(1, place, 4, kInfinity, cloud), PTC_OK) << ptc_last_error();
    EXPECT_EQ(answers.found[0], 4);
    ptc_close(broken);
    ptc_close(cloud);
    ptc_close(nullptr);
    EXPECT_STREQ(ptc_version(), PTC_VERSION);
}

TEST_F(CInterface, ThreadsShareACloudAndAnyOneClosesIt) {
    for (const CloudForm& form : AllForms(600)) {
        const std::string name = File(form.bytes, form.name);
        for (int round = 0; round < 8; ++round) {
            ptc_cloud* const cloud = Opened(name);
            ASSERT_TRUE(cloud);
            std::atomic<int> left{4};
            RunTogether(4, [&](int id) {
                for (int i = 0; i < 20; ++i) {
                    const auto index = (id * 151 + i * 37) % 600;
                    float position[3], distance = -1;
                    std::int64_t nearest = -1;
                    EXPECT_EQ(ptc_read_points(cloud, index, 1, position, nullptr, nullptr, nullptr,
                                              nullptr),
                              PTC_OK);
                    EXPECT_EQ(ptc_nearest(cloud, 1, position, 1, 1, &nearest, &distance, nullptr),
                              PTC_OK);
                    EXPECT_EQ(distance, 0.0f) << form.name << ' ' << index;
                }
                if (left.fetch_sub(1) == 1) ptc_close(cloud);
            });
        }
    }
}

TEST_F(CInterface, CloudsOutliveAShutdown) {
    for (const CloudForm& form : AllForms(600)) {
        SCOPED_TRACE(form.name);
        ptc_cloud* const cloud = Opened(File(form.bytes, form.name));
        ASSERT_TRUE(cloud);
        const float place[3] = {4, 4, 4};
        std::int64_t before = -1, after = -2;
        EXPECT_EQ(ptc_nearest(cloud, 1, place, 1, kInfinity, &before, nullptr, nullptr), PTC_OK);
        ptc_shutdown();
        EXPECT_EQ(ptc_nearest(cloud, 1, place, 1, kInfinity, &after, nullptr, nullptr), PTC_OK)
            << ptc_last_error();
        EXPECT_EQ(after, before);
        float radius = -1;
        EXPECT_EQ(ptc_read_points(cloud, 5, 1, nullptr, nullptr, &radius, nullptr, nullptr),
                  PTC_OK);
        EXPECT_GE(radius, 0);
        ptc_shutdown();
        ptc_close(cloud);
    }
}

}  // namespace
