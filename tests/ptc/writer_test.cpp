// The writer: what is in the file after which call, and when the disk is full.

#include "ptc/cloud/writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <random>

#include "ptc/cloud/reader.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/memory_source.h"
#include "tests/support/scratch.h"

namespace {

const std::vector<const char*> kOneFloat = {"float"};

/// Point `i` of a long run: every value tells its index.
std::array<float, 8> Sample(std::size_t i) {
    const auto f = static_cast<float>(i);
    return {f, -f, 0.5f, 0, 0, 1, 0.25f, f * 2};
}

std::vector<float> Samples(std::size_t count) {
    std::vector<float> all;
    all.reserve(8 * count);
    for (std::size_t i = 0; i < count; ++i)
        for (const float value : Sample(i)) all.push_back(value);
    return all;
}

PointBatch BatchOf(const std::vector<float>& samples, std::size_t floats) {
    return {std::as_bytes(std::span(samples)).data(), samples.size() / floats, 4 * floats,
            floats - 7};
}

TEST(PtcWriter, EveryPointIsInTheFileAndInTheHeader) {
    for (const std::size_t count : {0, 1, 2047, 2048, 2049, 250'000, 600'001}) {
        SCOPED_TRACE(count);
        MemoryCloud made(WithVariables(kOneFloat));
        ASSERT_EQ(WritePoints(*made.cloud, BatchOf(Samples(count), 8)), CloudStatus::kOk);
        const CloudFile file{made.Finished()};
        EXPECT_EQ(file.PointCount(), static_cast<double>(count));
        ASSERT_EQ(file.bytes.size(), file.DataStart() + count * 24);
        for (std::size_t i = 0; i < count; i += std::max<std::size_t>(1, count / 7)) {
            EXPECT_EQ(file.PointValue(i, 0), Sample(i)[0]);
            EXPECT_EQ(file.PointValue(i, 5), Sample(i)[7]);
        }
        EXPECT_EQ(file.BoxValue(0), count ? -0.25f : 1e30f);
        EXPECT_EQ(file.BoxValue(3), count ? Sample(count - 1)[0] + 0.25f : -1e30f);
        EXPECT_EQ(file.LargestRadius(), count ? 0.25f : 0.0f);
    }
}

// What is in the file then is what a process that is killed leaves behind.
TEST(PtcWriter, TheHeaderLagsUntilTheCheckpoint) {
    const ScratchFolder folder;
    const std::string name = folder.File("a.ptc");
    std::string why;
    const auto cloud = CreateCloud(WithVariables(kOneFloat, name.c_str()), &why);
    ASSERT_TRUE(cloud) << why;
    ASSERT_EQ(WritePoints(*cloud, BatchOf(Samples(249'999), 8)), CloudStatus::kOk);
    CloudFile file{ContentOf(name)};
    EXPECT_EQ(file.PointCount(), 0);
    EXPECT_EQ(file.RecordsInFile(), 249'999u / 2048 * 2048);
    ASSERT_EQ(WritePoint(*cloud, {{1, 2, 3}, {0, 0, 1}, 9}, Sample(0).data()), CloudStatus::kOk);
    file.bytes = ContentOf(name);
    EXPECT_EQ(file.PointCount(), 250'000);
    EXPECT_EQ(file.LargestRadius(), 9);
    EXPECT_EQ(file.RecordsInFile(), 250'000u);
}

// Batches, single points and value by value through the token layer: one file.
TEST(PtcWriter, ABatchIsWrittenAsItsPointsAre) {
    constexpr std::size_t kFloats = 9;  // two of data, while the variables take four
    std::mt19937 random(3);
    std::vector<float> samples(5000 * kFloats);
    for (float& value : samples)
        value = static_cast<float>(static_cast<int>(random() % 2001)) / 1000 - 1;
    samples[7 * kFloats] = samples[8 * kFloats + 6] = NAN;

    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const std::vector<const char*> types = {"color", "float"};
        MemoryCloud batches(WithVariables(types), form);
        MemoryCloud points(WithVariables(types), form);
        PointBatch rest = BatchOf(samples, kFloats);
        for (std::size_t i = 0; i < 5000; ++i) {
            const float* const s = &samples[i * kFloats];
            const float data[] = {s[7], s[8], 0, 0};
            const bool is_taken = !(s[6] < 0);
            EXPECT_EQ(
                WritePoint(*points.cloud, {{s[0], s[1], s[2]}, {s[3], s[4], s[5]}, s[6]}, data),
                is_taken ? CloudStatus::kOk : CloudStatus::kFailed);
        }
        for (std::size_t left = 5000, count; left > 0; left -= count) {
            count = std::min<std::size_t>(left, random() % 700);
            (void)WritePoints(*batches.cloud, {rest.samples, count, rest.stride, rest.data_floats});
            rest.samples += count * rest.stride;
        }
        EXPECT_TRUE(batches.Finished() == points.Finished());
        EXPECT_GT(batches.disk->size(), 2000u * 36);
    }
}

TEST(PtcWriter, NoNumberEntersNoBound) {
    MemoryCloud made({});
    for (const PointHead& point :
         {PointHead{{NAN, 1, 2}, {0, 0, 1}, 1}, PointHead{{3, 4, 5}, {0, 0, 1}, NAN},
          PointHead{{6, 7, 8}, {0, 0, 1}, 2}})
        made.Add(point);
    EXPECT_EQ(WritePoint(*made.cloud, {{99, 99, 99}, {0, 0, 1}, -1e-9f}, nullptr),
              CloudStatus::kFailed);
    const CloudFile file{made.Finished()};
    const float box[] = {4, 0, 1, 8, 9, 10};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(file.BoxValue(i), box[i]);
    EXPECT_EQ(file.PointCount(), 3);
    EXPECT_EQ(file.LargestRadius(), 2);
}

TEST(PtcWriter, NodesFollowThePointsAndTheLastIsTheRoot) {
    CloudDescription description;
    description.node_variables = WithVariables(kOneFloat).point_variables;
    MemoryCloud made(description);
    made.Add({{1, 2, 3}, {0, 0, 1}, 1});
    const float data = 0.5f;
    const std::int64_t leaf = made.AddNode({0, 2, {0, 1, 2, 2, 3, 4}, &data});
    const std::int64_t children[8] = {leaf, 0, 0, 0, 0, 0, 0, leaf};
    const std::int64_t root = made.AddNode({0, 2, {0, 1, 2, 2, 3, 4}}, children);
    const CloudFile file{made.Finished()};
    const auto at = static_cast<std::size_t>(root);
    EXPECT_EQ(file.NodeCount(), 2);
    EXPECT_EQ(file.At<std::int64_t>(48), root);
    EXPECT_EQ(root - leaf, 32 + 4 + 1);  // a leaf with data
    EXPECT_EQ(file.At<std::int32_t>(at + 4), 2);
    EXPECT_EQ(file.At<float>(at + 28), 4.0f);
    EXPECT_EQ(file.At<std::uint8_t>(at + 32), 0x81);  // no data: the mask follows the box
    for (const std::size_t child : {33, 41}) EXPECT_EQ(file.At<std::int64_t>(at + child), leaf);
    EXPECT_EQ(file.bytes.size(), at + 49);
}

TEST(PtcWriter, DeclarationsThatNoReaderUnderstandsAreRefused) {
    const std::string longest(254, 'x');
    const std::string long_type = "float" + std::string(250, '3');
    struct Row {
        int count;
        const char* type;
        const char* name;
        const char* why;  // null: accepted
    };
    for (const Row& row : {
             Row{-1, "float", "a", "more variables than the format allows"},
             Row{1001, "float", "a", "more variables than the format allows"},
             Row{1000, "float", "a", nullptr},
             Row{1, nullptr, "a", "a variable without a declaration"},
             Row{1, "float", nullptr, "a variable without a declaration"},
             Row{1, "float", "a\nb", "a variable's declaration holds a newline"},
             Row{1, "color[-1]", "a", "a variable's array suffix is negative"},
             Row{1, "float[16777217]", "a", "the variables take too many floats"},
             Row{1, long_type.c_str(), "a", "a variable's type is too long"},
             Row{1, "float", longest.c_str(), nullptr},  // the name is cut
         }) {
        const std::vector<const char*> types(1001, row.type);
        const std::vector<const char*> names(1001, row.name);
        CloudDescription description;
        description.point_variables = {row.count, types.data(), names.data()};
        const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
        std::string why;
        (void)CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes),
                          TokenForm::kBinary, &why);
        EXPECT_EQ(why, row.why ? row.why : "");
        EXPECT_EQ(bytes->empty(), row.why != nullptr) << "nothing is made of a refused cloud";
        if (row.why) continue;
        const CloudFile file{TextOf(*bytes)};
        EXPECT_EQ(file.Declarations()[0].size(),
                  std::min(strlen("float ") + strlen(row.name), 255UL));
    }
}

/// Three thousand points, which take two pieces, and two nodes.
CloudStatus WriteWholeFile(std::unique_ptr<ByteSink> disk, TokenForm form) {
    std::string why;
    const auto cloud = CreateCloud(WithVariables(kOneFloat), std::move(disk), form, &why);
    if (!cloud) {
        EXPECT_EQ(why, "No space left on device");
        return CloudStatus::kFailed;
    }
    bool failed = false;
    const float data = 1;
    for (int i = 0; i < 3000; ++i)
        failed |= Failed(WritePoint(*cloud, {{1, 2, 3}, {0, 0, 1}, 1}, &data));
    std::int64_t at = 0;
    for (int i = 0; i < 2; ++i) failed |= Failed(WriteNode(*cloud, {0, 1, {}}, nullptr, &at));
    const CloudStatus finished = FinishCloud(*cloud);
    EXPECT_TRUE(!failed || Failed(finished)) << "a failure was forgotten";
    EXPECT_LE(cloud->stored_points, 3000);
    return finished;
}

TEST(PtcWriter, EveryDiskFullPointIsReported) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const auto whole = std::make_shared<DiskBytes::element_type>();
        ASSERT_EQ(WriteWholeFile(std::make_unique<FullDisk>(SIZE_MAX, whole), form),
                  CloudStatus::kOk);
        // Every byte of the header and of the tail; the records between are alike.
        for (std::size_t room = 0;
             room<whole->size(); room += room> 1200 && room + 400 < whole->size() ? 997 : 1) {
            const auto bytes = std::make_shared<DiskBytes::element_type>();
            EXPECT_EQ(WriteWholeFile(std::make_unique<FullDisk>(room, bytes), form),
                      CloudStatus::kFailed)
                << "room for " << room << " of " << whole->size() << " bytes";
            if (form == TokenForm::kText || room < 400) continue;
            const CloudFile file{TextOf(*bytes)};
            EXPECT_LE(file.PointCount(), static_cast<double>(file.RecordsInFile()))
                << "the header promises records that are not there";
            EXPECT_GE(file.PointCount(), static_cast<double>(file.RecordsInFile() / 2048 * 2048))
                << "the header forgets a piece that is there";
        }
    }
}

TEST(PtcWriter, WhatCannotBeRewrittenCannotBeMade) {
    const ScratchFolder folder;
    const std::string pipe_name = folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe_name.c_str(), 0600), 0);
    const int reader = open(pipe_name.c_str(), O_RDONLY | O_NONBLOCK);
    std::string why;
    EXPECT_FALSE(CreateCloud(WithVariables(kOneFloat, pipe_name.c_str()), &why));
    EXPECT_EQ(why, "Illegal seek");
    EXPECT_FALSE(CreateCloud(WithVariables(kOneFloat), &why)) << "no name is an empty name";
    close(reader);
}

/// The bytes of the page's example: two hexadecimal digits each in the second column.
std::string ExampleOfThePage() {
    std::ifstream page("docs/format.md");
    EXPECT_TRUE(page) << "run from the repository root";
    std::string bytes;
    bool is_example = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) is_example = line.find("Example") != std::string::npos;
        if (!is_example || !line.starts_with("| ") || line.find("offset") != std::string::npos)
            continue;
        const std::size_t begin = line.find('|', 1) + 1;
        const std::string hex = line.substr(begin, line.find('|', begin) - begin);
        for (std::size_t at = 0; (at = hex.find_first_not_of(' ', at)) != std::string::npos;
             at += 2)
            bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    }
    return bytes;
}

TEST(PtcWriter, TheExampleOfTheFormatPageIsWhatItWrites) {
    const char* const types[] = {"float", "color"};
    const char* const names[] = {"_area", "glow"};
    const float eye[] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 5, 1};
    MemoryCloud made({nullptr, {2, types, names}, {}, eye, nullptr, {640, 480, 1}});
    const float first[] = {0.25f, 1, 0.5f, 0};
    const float second[] = {0.5f, 0, 0, 2};
    made.Add({{1, 2, 3}, {0, 0, 1}, 0.5f}, first);
    made.Add({{-1, 0, 4}, {0, 1, 0}, 0.25f}, second);
    const std::string written = made.Finished();
    const std::string example = ExampleOfThePage();
    ASSERT_EQ(written.size(), example.size());
    for (std::size_t i = 0; i < written.size(); ++i)
        ASSERT_EQ(written[i], example[i]) << "byte " << i;
}

TEST(PtcTextForm, IsTheGoldenFileByteForByte) {
    EXPECT_EQ(SmallCloud(TokenForm::kText), ContentOf("tests/golden/small_cloud.txt"))
        << "run from the repository root";
}

TEST(PtcTextForm, TheBlockKeepsItsLengthAtAnyCount) {
    MemoryCloud made({}, TokenForm::kText);
    const auto before = made.cloud->data_start;
    for (int i = 0; i < 250'001; ++i) made.Add({{-1e-30f, 1e30f, 3}, {0, 0, 1}, 1e20f});
    std::string why;
    const auto read = OpenCloud(std::make_unique<MemorySource>(made.Finished()), "memory", &why);
    ASSERT_TRUE(read) << why;
    EXPECT_EQ(read->data_start, before);
    EXPECT_EQ(read->point_count, 250'001);
    EXPECT_EQ(SeekPoint(*read, 250'001), CloudStatus::kOk);
}

}  // namespace
