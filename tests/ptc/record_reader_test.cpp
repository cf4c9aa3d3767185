// Block reads: the same records as in sequence, from every form, and nothing from a lying file.

#include "ptc/cloud/record_reader.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"
#include "tests/support/together.h"

namespace {

/// A cloud of `count` points whose values tell their index.
std::string ManyPoints(int count, TokenForm form) {
    const std::vector<const char*> types = {"float", "color"};
    MemoryCloud made(WithVariables(types), form);
    for (int i = 0; i < count; ++i) {
        const auto f = static_cast<float>(i);
        const float data[] = {f, static_cast<float>(i * 7919 % 1000), static_cast<float>(i % 77),
                              1};
        made.Add({{f, -f, 1}, {0, 0, 1}, 0.5f}, data);
    }
    return made.Finished();
}

/// Room for a run of records with four floats each.
struct Records {
    explicit Records(std::size_t count) : data(4 * count), records(count) {
        for (std::size_t i = 0; i < count; ++i) records[i].data = &data[4 * i];
    }
    std::vector<float> data;
    std::vector<PtcPoint> records;
};

TEST(PtcRecordReader, AnyRunOfAnyFormFromManyThreads) {
    constexpr int kCount = 150'000;
    const ScratchFolder folder;
    const std::string name = folder.File("a.ptc");
    for (const bool is_gzip : {false, true}) {
        for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
            const std::string bytes = ManyPoints(kCount, form);
            WriteTo(name, is_gzip ? gzip_bytes::Whole(bytes) : bytes);
            PtcRecordReader reader;
            std::string why;
            testing::internal::CaptureStderr();
            ASSERT_EQ(reader.Open(name.c_str(), false, &why), CloudStatus::kOk) << why;
            testing::internal::GetCapturedStderr();
            std::atomic<int> wrong{0};
            RunTogether(3, [&](int id) {
                Records run(256);
                for (int turn = 0; turn < 6; ++turn) {
                    const int first = (turn * 7 + id) * 37'117 % (kCount - 256);
                    wrong += Failed(reader.ReadPoints(first, 256, run.records.data()));
                    for (int i = 0; i < 256; i += 51)
                        wrong += run.records[static_cast<std::size_t>(i)].data[0] !=
                                 static_cast<float>(first + i);
                }
            });
            EXPECT_EQ(wrong, 0) << (is_gzip ? "gzip" : "plain");
            Records run(2);
            EXPECT_EQ(reader.ReadPoints(kCount - 2, 2, run.records.data()), CloudStatus::kOk);
            for (const auto& [first, count] : {std::pair{kCount - 1, 2}, std::pair{-1, 1},
                                               std::pair{kCount + 1, 0}, std::pair{0, -1}})
                EXPECT_EQ(reader.ReadPoints(first, count, run.records.data()),
                          CloudStatus::kFailed);
            reader.Close();
            EXPECT_EQ(reader.ReadPoints(0, 1, run.records.data()), CloudStatus::kFailed);
        }
    }
}

/// A file that holds `bytes`, opened.
struct OpenFile {
    explicit OpenFile(const std::string& bytes, bool in_memory = false) {
        const std::string name = WriteTo(folder.File("a.ptc"), bytes);
        std::string why;
        EXPECT_EQ(reader.Open(name.c_str(), in_memory, &why), CloudStatus::kOk) << why;
    }
    const ScratchFolder folder;
    PtcRecordReader reader;
};

TEST(PtcRecordReader, WhatStandsBeforeADamagedPlaceIsRead) {
    using namespace gzip_bytes;
    constexpr int kCount = 20'000, kSound = 7000;
    // What stands before point kSound, in each form, and the rest.
    const std::string binary = ManyPoints(kCount, TokenForm::kBinary);
    const std::string text = ManyPoints(kCount, TokenForm::kText);
    const std::size_t binary_place = binary.size() - (kCount - kSound) * 36;
    const std::size_t text_place = text.find(" 7.000000e+03 -7.");
    const std::string begin = binary.substr(0, binary_place), rest = binary.substr(binary_place);
    const std::string text_begin = text.substr(0, text_place);
    std::string wrong_checksum = Whole(binary);
    wrong_checksum[wrong_checksum.size() - 8] ^= 1;
    struct Row {
        const char* name;
        std::string stored;
        int sound = kSound;
    };
    for (const Row& row : {
             Row{"damaged line", text_begin + " x" + text.substr(text_place + 2)},
             Row{"text breaks off", Beginning(text_begin)},
             Row{"text, no such block", Beginning(text_begin) + kNoBlock},
             Row{"text, damaged line", Whole(text_begin + "x" + text.substr(text_place))},
             Row{"breaks off", Beginning(begin)},
             Row{"no such block", Beginning(begin) + kNoBlock},
             Row{"second member breaks off",
                 Whole(binary.substr(0, 900)) + Beginning(begin.substr(900))},
             Row{"no further member", Whole(begin) + rest},
             Row{"wrong checksum", wrong_checksum, kCount},
             Row{"wrong checksum, then the rest", wrong_checksum + Whole(rest), kCount},
             Row{"trailing bytes", Whole(binary) + "\x1F and more", kCount},
             Row{"two members", Whole(begin) + Whole(rest), kCount},
         }) {
        SCOPED_TRACE(row.name);
        testing::internal::CaptureStderr();
        OpenFile file(row.stored);
        testing::internal::GetCapturedStderr();
        Records run(256);
        // From the end, so that blocks fail before those that do not.
        for (int first = (kCount - 1) / 256 * 256; first >= 0; first -= 256) {
            const int count = std::min(256, kCount - first);
            const CloudStatus read = file.reader.ReadPoints(first, count, run.records.data());
            ASSERT_EQ(!Failed(read), first + count <= row.sound) << first;
            if (Failed(read)) continue;
            ASSERT_EQ(run.records[255 % static_cast<std::size_t>(count)].data[0],
                      first + 255 % count);
        }
        EXPECT_EQ(file.reader.ReadPoints(row.sound - 1, 1, run.records.data()), CloudStatus::kOk);
        EXPECT_EQ(run.records[0].position[0], static_cast<float>(row.sound - 1));
    }
}

TEST(PtcRecordReader, TheShortestTextPointsAreRead) {
    MemoryCloud made(WithVariables({}), TokenForm::kText);
    for (int i = 0; i < 3; ++i) made.Add({{1, 2, 3}, {0, 0, 0}, 1});
    const std::string point = "1 2 3 0 0 1\n";
    OpenFile file(made.Finished().substr(0, static_cast<std::size_t>(made.cloud->data_start)) +
                  point + point + point);
    Records run(3);
    ASSERT_EQ(file.reader.ReadPoints(0, 3, run.records.data()), CloudStatus::kOk);
    EXPECT_EQ(run.records[2].position[2], 3.0f);
}

TEST(PtcRecordReader, AFileInMemoryIsReadFromItsCursorAndEnds) {
    OpenFile file(ManyPoints(3, TokenForm::kBinary), true);
    Records run(2);
    EXPECT_EQ(file.reader.ReadPoints(77, 2, run.records.data()), CloudStatus::kOk);
    EXPECT_EQ(run.records[1].data[0], 1.0f);
    EXPECT_EQ(file.reader.ReadPoints(0, 2, run.records.data()), CloudStatus::kFailed);
    EXPECT_EQ(run.records[0].position[0], 2.0f);
    file.reader.Rewind();
    EXPECT_EQ(file.reader.ReadPoints(0, 1, run.records.data()), CloudStatus::kOk);
    EXPECT_EQ(run.records[0].data[0], 0.0f);

    const OpenFile tree(SmallCloud(TokenForm::kBinary), true);
    EXPECT_EQ(tree.reader.Header().node_count, 0) << "no node could be read";
    EXPECT_EQ(tree.reader.Header().root_position, 0);
}

TEST(PtcRecordReader, VariablesByName) {
    OpenFile file(MemoryCloud(WithVariables({"color", "float"})).Finished());
    std::array<std::int32_t, 4> offsets;
    std::array<std::int32_t, 4> sizes = {9, 9, 9, 9};
    const char* const names[] = {"float", "Color", nullptr, "color"};
    FindVariables(file.reader.Header().point_variables, names, offsets.data(), sizes.data());
    EXPECT_EQ(offsets, (std::array<std::int32_t, 4>{3, -1, -1, 0}));
    EXPECT_EQ(sizes, (std::array<std::int32_t, 4>{1, 9, 9, 3}));
}

/// Reads the children that `references` name of `bytes` as a file.
CloudStatus ReadChildren(const std::string& bytes,
                         const std::array<std::int64_t, kNodeChildren>& references,
                         PtcNode* records) {
    return OpenFile(bytes).reader.ReadNodeChildren(references.data(), records);
}

std::int64_t RootOf(const std::string& bytes) {
    return OpenFile(bytes).reader.Header().root_position;
}

TEST(PtcRecordReader, ChildrenComeIntoTheirSlotsAndLiesAreRefused) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const std::string bytes = SmallCloud(form);
        std::vector<float> data(3 * kNodeChildren);
        PtcNode records[kNodeChildren] = {};
        for (int i = 0; i < kNodeChildren; ++i)
            records[i].data = &data[3 * static_cast<std::size_t>(i)];
        const std::int64_t root = RootOf(bytes);
        EXPECT_EQ(ReadChildren(bytes, {}, records), CloudStatus::kFailed);
        ASSERT_EQ(ReadChildren(bytes, {root}, records), CloudStatus::kOk);
        EXPECT_EQ(records[0].point_count, 3);
        EXPECT_EQ(data[1], 0.5f);
        // Both slots name one record: the second is not where it is expected, and still found.
        const std::int64_t leaf = records[0].children[7];
        ASSERT_EQ(ReadChildren(bytes, {0, 0, leaf, 0, leaf}, records), CloudStatus::kOk);
        EXPECT_EQ(records[2].first_point, 1);
        EXPECT_EQ(records[4].first_point, 1);
        EXPECT_EQ(records[3].point_count, 0) << "slots without a child are left alone";
        for (const std::int64_t lie : {std::int64_t{8}, std::int64_t{-1}, root + 5, INT64_MAX})
            EXPECT_EQ(ReadChildren(bytes, {lie}, records), CloudStatus::kFailed) << lie;
    }
    // Siblings in any order, the last of them right behind the second, and longer.
    MemoryCloud made(WithVariables({}));
    const std::int64_t leaf = made.AddNode({0, 0, {1}});
    const std::int64_t children[] = {leaf, leaf, leaf, leaf, leaf, leaf, leaf, leaf};
    const std::int64_t node = made.AddNode({0, 0, {2}}, children);
    PtcNode siblings[kNodeChildren] = {};
    ASSERT_EQ(ReadChildren(made.Finished(), {node, leaf, 0, node}, siblings), CloudStatus::kOk);
    EXPECT_EQ(siblings[1].box[0], 1.0f);
    EXPECT_EQ(siblings[3].children[7], leaf);

    // A root that names itself, a record behind it, or a point; more points than there are.
    const std::string bytes = SmallCloud(TokenForm::kBinary);
    const std::int64_t root = RootOf(bytes);
    std::vector<float> data(3);
    PtcNode record{};
    record.data = data.data();
    const auto expect_refused = [&](std::size_t field, auto lie) {
        std::string lying = bytes;
        Put(&lying, static_cast<std::size_t>(root) + field, lie);
        EXPECT_EQ(ReadChildren(lying, {root}, &record), CloudStatus::kFailed)
            << field << ' ' << lie;
    };
    for (const std::int64_t child : {root, root + 1, std::int64_t{400}, std::int64_t{-8}})
        expect_refused(45, child);
    for (const std::int32_t count : {4, -1, INT32_MAX}) expect_refused(4, count);
}

}  // namespace
