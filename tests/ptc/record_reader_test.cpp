// Block reads: the same records as in sequence, from every form, and nothing from a lying file.

#include "ptc/record_reader.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <thread>

#include "tests/support/scratch.h"
#include "tests/support/small_cloud.h"

namespace {

void Save(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

void SaveGzip(const std::string& name, const std::string& bytes) {
    gzFile out = gzopen(name.c_str(), "wb1");
    gzwrite(out, bytes.data(), static_cast<unsigned>(bytes.size()));
    gzclose(out);
}

/// A cloud of `count` points whose values tell their index.
std::string ManyPoints(int count, TokenForm form) {
    const char* const types[] = {"float", "color"};
    const char* const names[] = {"a", "c"};
    CloudDescription description;
    description.point_variables = {2, types, names};
    const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud =
        CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes), form, &why);
    for (int i = 0; i < count; ++i) {
        const auto f = static_cast<float>(i);
        const float data[] = {f, static_cast<float>(i * 7919 % 1000), static_cast<float>(i % 77),
                              1};
        EXPECT_EQ(WritePoint(*cloud, {{f, -f, 1}, {0, 0, 1}, 0.5f}, data), CloudStatus::kOk);
    }
    EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
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
            is_gzip ? SaveGzip(name, bytes) : Save(name, bytes);
            PtcRecordReader reader;
            std::string why;
            testing::internal::CaptureStderr();
            ASSERT_EQ(reader.Open(name.c_str(), false, &why), CloudStatus::kOk) << why;
            testing::internal::GetCapturedStderr();
            std::atomic<int> wrong{0};
            std::vector<std::jthread> threads;
            for (int id = 0; id < 3; ++id) {
                threads.emplace_back([&, id] {
                    Records run(256);
                    for (int turn = 0; turn < 6; ++turn) {
                        const int first = (turn * 7 + id) * 37'117 % (kCount - 256);
                        wrong += Failed(reader.ReadPoints(first, 256, run.records.data()));
                        for (int i = 0; i < 256; i += 51)
                            wrong += run.records[static_cast<std::size_t>(i)].data[0] !=
                                     static_cast<float>(first + i);
                    }
                });
            }
            threads.clear();
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

TEST(PtcRecordReader, AFileInMemoryIsReadFromItsCursorAndEnds) {
    const ScratchFolder folder;
    const std::string name = folder.File("a.ptc");
    Save(name, ManyPoints(3, TokenForm::kBinary));
    PtcRecordReader reader;
    std::string why;
    ASSERT_EQ(reader.Open(name.c_str(), true, &why), CloudStatus::kOk) << why;
    Records run(2);
    EXPECT_EQ(reader.ReadPoints(77, 2, run.records.data()), CloudStatus::kOk);
    EXPECT_EQ(run.records[1].data[0], 1.0f);
    EXPECT_EQ(reader.ReadPoints(0, 2, run.records.data()), CloudStatus::kFailed);
    EXPECT_EQ(run.records[0].position[0], 2.0f);
    reader.Rewind();
    EXPECT_EQ(reader.ReadPoints(0, 1, run.records.data()), CloudStatus::kOk);
    EXPECT_EQ(run.records[0].data[0], 0.0f);
}

TEST(PtcRecordReader, VariablesByName) {
    const ScratchFolder folder;
    const std::string name = folder.File("a.ptc");
    Save(name, ManyPoints(1, TokenForm::kBinary));
    PtcRecordReader reader;
    std::string why;
    ASSERT_EQ(reader.Open(name.c_str(), false, &why), CloudStatus::kOk) << why;
    const char* const names[] = {"c", "A", nullptr, "a"};
    std::int32_t offsets[4];
    std::int32_t sizes[4] = {9, 9, 9, 9};
    reader.FindVariables(names, offsets, sizes);
    const std::int32_t wanted[][2] = {{1, 3}, {-1, 9}, {-1, 9}, {0, 1}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(offsets[i], wanted[i][0]) << i;
        EXPECT_EQ(sizes[i], wanted[i][1]) << i;
    }
}

/// Reads the children that `references` name of `bytes` as a file.
CloudStatus ReadChildren(const std::string& bytes, const std::int64_t* references, PtcNode* records,
                         std::int64_t* root = nullptr) {
    const ScratchFolder folder;
    Save(folder.File("a.ptc"), bytes);
    PtcRecordReader reader;
    std::string why;
    EXPECT_EQ(reader.Open(folder.File("a.ptc").c_str(), false, &why), CloudStatus::kOk) << why;
    if (root) *root = reader.Header().root_position;
    return reader.ReadNodeChildren(references, records);
}

TEST(PtcRecordReader, ChildrenComeIntoTheirSlotsAndLiesAreRefused) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const std::string bytes = SmallCloud(form);
        std::vector<float> data(3 * kNodeChildren);
        PtcNode records[kNodeChildren] = {};
        for (int i = 0; i < kNodeChildren; ++i)
            records[i].data = &data[3 * static_cast<std::size_t>(i)];
        std::int64_t root = 0;
        const std::int64_t none[kNodeChildren] = {};
        EXPECT_EQ(ReadChildren(bytes, none, records, &root), CloudStatus::kFailed);
        const std::int64_t at_root[kNodeChildren] = {root};
        ASSERT_EQ(ReadChildren(bytes, at_root, records), CloudStatus::kOk);
        EXPECT_EQ(records[0].point_count, 3);
        EXPECT_EQ(data[1], 0.5f);
        const std::int64_t leaf = records[0].children[7];
        // Both slots name one record: the second is not where it is expected, and still found.
        const std::int64_t twice[kNodeChildren] = {0, 0, leaf, 0, leaf};
        ASSERT_EQ(ReadChildren(bytes, twice, records), CloudStatus::kOk);
        EXPECT_EQ(records[2].first_point, 1);
        EXPECT_EQ(records[4].first_point, 1);
        EXPECT_EQ(records[3].point_count, 0) << "slots without a child are left alone";
        for (const std::int64_t lie : {std::int64_t{8}, std::int64_t{-1}, root + 5, INT64_MAX}) {
            const std::int64_t references[kNodeChildren] = {lie};
            EXPECT_EQ(ReadChildren(bytes, references, records), CloudStatus::kFailed) << lie;
        }
    }
    // A root that names itself, a record behind it, or a point; more points than there are.
    const std::string bytes = SmallCloud(TokenForm::kBinary);
    std::int64_t root = 0;
    std::memcpy(&root, bytes.data() + 48, sizeof root);
    const auto at = static_cast<std::size_t>(root);
    std::vector<float> data(3);
    PtcNode record{};
    record.data = data.data();
    const std::int64_t at_root[kNodeChildren] = {root};
    for (const std::int64_t lie : {root, root + 1, std::int64_t{400}, std::int64_t{-8}}) {
        std::string lying = bytes;
        std::memcpy(lying.data() + at + 45, &lie, sizeof lie);
        EXPECT_EQ(ReadChildren(lying, at_root, &record), CloudStatus::kFailed) << lie;
    }
    for (const std::int32_t count : {4, -1, INT32_MAX}) {
        std::string lying = bytes;
        std::memcpy(lying.data() + at + 4, &count, sizeof count);
        EXPECT_EQ(ReadChildren(lying, at_root, &record), CloudStatus::kFailed) << count;
    }
}

}  // namespace
