// The writer: what is in the file after which call.

#include "ptc/writer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <random>

#include "tests/support/cloud_file.h"
#include "tests/support/full_disk.h"
#include "tests/support/scratch.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// A cloud in memory with the given point variables.
struct MemoryCloud {
    explicit MemoryCloud(std::vector<const char*> types, TokenForm form = TokenForm::kBinary,
                         VariableList node_variables = {}) {
        const std::vector<const char*> names(types.size(), "v");
        CloudDescription description;
        description.point_variables = {static_cast<int>(types.size()), types.data(), names.data()};
        description.node_variables = node_variables;
        std::string why;
        cloud = CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes), form, &why);
        EXPECT_TRUE(cloud) << why;
    }

    CloudFile File() const {
        return {{reinterpret_cast<const char*>(bytes->data()), bytes->size()}};
    }

    DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::unique_ptr<Cloud> cloud;
};

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

class PtcWriterCounts : public testing::TestWithParam<std::size_t> {};

TEST_P(PtcWriterCounts, EveryPointIsInTheFileAndInTheHeader) {
    const std::size_t count = GetParam();
    MemoryCloud made({"float"});
    const std::vector<float> samples = Samples(count);
    ASSERT_EQ(WritePoints(*made.cloud, BatchOf(samples, 8)), CloudStatus::kOk);
    ASSERT_EQ(FinishCloud(*made.cloud), CloudStatus::kOk);

    const CloudFile file = made.File();
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

INSTANTIATE_TEST_SUITE_P(AtTheEdges, PtcWriterCounts,
                         testing::Values(0, 1, 2047, 2048, 2049, 250'000, 600'001),
                         [](const auto& tested) {
                             return "Points" + std::to_string(tested.param);
                         });

TEST(PtcWriter, TheHeaderLagsUntilTheCheckpoint) {
    MemoryCloud made({"float"});
    const std::vector<float> samples = Samples(250'000);
    PointBatch batch = BatchOf(samples, 8);
    --batch.count;
    ASSERT_EQ(WritePoints(*made.cloud, batch), CloudStatus::kOk);
    EXPECT_EQ(made.File().PointCount(), 0);
    EXPECT_EQ(made.File().RecordsInFile(), 249'999u / 2048 * 2048);
    ASSERT_EQ(WritePoint(*made.cloud, {{1, 2, 3}, {0, 0, 1}, 9}, samples.data()), CloudStatus::kOk);
    EXPECT_EQ(made.File().PointCount(), 250'000);
    EXPECT_EQ(made.File().LargestRadius(), 9);
    EXPECT_EQ(made.File().RecordsInFile(), 250'000u);
}

TEST(PtcWriter, AProcessKilledAfterACheckpointLeavesAReadableFile) {
    const ScratchFolder folder;
    const std::string name = folder.File("killed.ptc");
    const pid_t child = fork();
    if (child == 0) {
        const char* const texts[] = {"float"};
        CloudDescription description;
        description.file_name = name.c_str();
        description.point_variables = {1, texts, texts};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        const std::vector<float> samples = Samples(250'100);
        if (cloud) (void)WritePoints(*cloud, BatchOf(samples, 8));
        raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    const CloudFile file{ContentOf(name)};
    EXPECT_EQ(file.PointCount(), 250'000);
    EXPECT_GE(file.RecordsInFile(), 250'000u);
    EXPECT_EQ(file.PointValue(249'999, 0), 249'999.0f);
}

// Batches, single points and value by value through the token layer: one file.
TEST(PtcWriter, ABatchIsWrittenAsItsPointsAre) {
    constexpr std::size_t kFloats = 9;  // two of data, while the variables take four
    std::mt19937 random(3);
    std::vector<float> samples(5000 * kFloats);
    for (float& value : samples)
        value = static_cast<float>(static_cast<int>(random() % 2001)) / 1000 - 1;
    samples[7 * kFloats] = kNan;
    samples[8 * kFloats + 6] = kNan;

    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        MemoryCloud batches({"color", "float"}, form);
        MemoryCloud points({"color", "float"}, form);
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
        ASSERT_EQ(FinishCloud(*batches.cloud), CloudStatus::kOk);
        ASSERT_EQ(FinishCloud(*points.cloud), CloudStatus::kOk);
        EXPECT_TRUE(*batches.bytes == *points.bytes);
        EXPECT_GT(batches.bytes->size(), 2000u * 36);
    }
}

TEST(PtcWriter, TheBinaryRecordIsTheTokenRecord) {
    MemoryCloud made({"float"});
    ASSERT_EQ(WritePoint(*made.cloud, {{1, -2, 3}, {0.3f, -0.4f, 0.5f}, 0.75f}, Sample(4).data()),
              CloudStatus::kOk);
    ASSERT_EQ(FinishCloud(*made.cloud), CloudStatus::kOk);

    auto bytes = std::make_shared<DiskBytes::element_type>();
    TokenFile tokens;
    ASSERT_FALSE(Failed(tokens.OpenForWriting(std::make_unique<FullDisk>(SIZE_MAX, bytes),
                                              {"", 0, 0}, TokenForm::kBinary)));
    const NormalCode code = EncodeNormal(0.3f, -0.4f, 0.5f);
    ASSERT_FALSE(
        Failed(tokens.WriteRecord("", "%e %e %e  %hi %hi  %e ",
                                  {1.0f, -2.0f, 3.0f, static_cast<std::int16_t>(code.azimuth),
                                   static_cast<std::int16_t>(code.height), 0.75f})));
    ASSERT_FALSE(Failed(tokens.WriteFloats("ptd", std::array{4.0f})));
    const std::string_view record(reinterpret_cast<const char*>(bytes->data()) + 8,
                                  bytes->size() - 8);
    EXPECT_EQ(made.File().PointBytes(0), record);
}

TEST(PtcWriter, NoNumberEntersNoBound) {
    MemoryCloud made({});
    for (const PointHead& point :
         {PointHead{{kNan, 1, 2}, {0, 0, 1}, 1}, PointHead{{3, 4, 5}, {0, 0, 1}, kNan},
          PointHead{{6, 7, 8}, {0, 0, 1}, 2}})
        EXPECT_EQ(WritePoint(*made.cloud, point, nullptr), CloudStatus::kOk);
    EXPECT_EQ(WritePoint(*made.cloud, {{99, 99, 99}, {0, 0, 1}, -1e-9f}, nullptr),
              CloudStatus::kFailed);
    ASSERT_EQ(FinishCloud(*made.cloud), CloudStatus::kOk);
    const CloudFile file = made.File();
    const float box[] = {4, 0, 1, 8, 9, 10};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(file.BoxValue(i), box[i]);
    EXPECT_EQ(file.PointCount(), 3);
    EXPECT_EQ(file.LargestRadius(), 2);
}

TEST(PtcWriter, NodesFollowThePointsAndTheLastIsTheRoot) {
    const char* const node_texts[] = {"float"};
    MemoryCloud made({}, TokenForm::kBinary, {1, node_texts, node_texts});
    ASSERT_EQ(WritePoint(*made.cloud, {{1, 2, 3}, {0, 0, 1}, 1}, nullptr), CloudStatus::kOk);
    const float data = 0.5f;
    std::int64_t leaf = 0;
    std::int64_t root = 0;
    ASSERT_EQ(WriteNode(*made.cloud, {0, 1, {0, 1, 2, 2, 3, 4}, &data}, nullptr, &leaf),
              CloudStatus::kOk);
    const std::int64_t children[8] = {leaf, 0, 0, 0, 0, 0, 0, leaf};
    ASSERT_EQ(WriteNode(*made.cloud, {0, 2, {0, 1, 2, 2, 3, 4}}, children, &root),
              CloudStatus::kOk);
    ASSERT_EQ(FinishCloud(*made.cloud), CloudStatus::kOk);

    const CloudFile file = made.File();
    const auto at = static_cast<std::size_t>(root);
    EXPECT_EQ(file.NodeCount(), 2);
    EXPECT_EQ(file.At<std::int64_t>(48), root);
    EXPECT_EQ(root - leaf, 32 + 4 + 1);  // a leaf with data
    EXPECT_EQ(file.At<std::int32_t>(at + 4), 2);
    EXPECT_EQ(file.At<float>(at + 28), 4.0f);
    EXPECT_EQ(file.At<std::uint8_t>(at + 32), 0x81);  // no data: the mask follows the box
    EXPECT_EQ(file.At<std::int64_t>(at + 33), leaf);
    EXPECT_EQ(file.At<std::int64_t>(at + 41), leaf);
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
        const auto cloud = CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes),
                                       TokenForm::kBinary, &why);
        EXPECT_EQ(cloud == nullptr, row.why != nullptr) << why;
        EXPECT_EQ(why, row.why ? row.why : "");
        EXPECT_EQ(bytes->empty(), row.why != nullptr) << "nothing is made of a refused cloud";
        if (!row.why && row.name == longest.c_str()) {
            const CloudFile file{{reinterpret_cast<const char*>(bytes->data()), bytes->size()}};
            EXPECT_EQ(file.Declarations()[0].size(), 255u);
        }
    }
    CloudDescription without_arrays;
    without_arrays.point_variables.count = 1;
    std::string why;
    EXPECT_FALSE(CreateCloud(without_arrays, std::make_unique<FullDisk>(SIZE_MAX),
                             TokenForm::kBinary, &why));
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
    CloudDescription description;
    description.point_variables = {2, types, names};
    description.world_to_eye = eye;
    description.format[0] = 640;
    description.format[1] = 480;
    description.format[2] = 1;
    const DiskBytes bytes = std::make_shared<DiskBytes::element_type>();
    std::string why;
    const auto cloud = CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, bytes),
                                   TokenForm::kBinary, &why);
    ASSERT_TRUE(cloud) << why;
    const float first[] = {0.25f, 1, 0.5f, 0};
    const float second[] = {0.5f, 0, 0, 2};
    ASSERT_EQ(WritePoint(*cloud, {{1, 2, 3}, {0, 0, 1}, 0.5f}, first), CloudStatus::kOk);
    ASSERT_EQ(WritePoint(*cloud, {{-1, 0, 4}, {0, 1, 0}, 0.25f}, second), CloudStatus::kOk);
    ASSERT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    const std::string_view written(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    const std::string example = ExampleOfThePage();
    ASSERT_EQ(written.size(), example.size());
    for (std::size_t i = 0; i < written.size(); ++i)
        ASSERT_EQ(written[i], example[i]) << "byte " << i;
}

}  // namespace
