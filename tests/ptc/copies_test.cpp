// Reading and writing without the caches: the same points as through them, byte for byte.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <random>

#include "ptc/access.h"
#include "ptc/reader.h"
#include "ptc/writer.h"
#include "tests/support/cloud_file.h"
#include "tests/support/cloud_forms.h"
#include "tests/support/scratch.h"

namespace {

constexpr std::int64_t kCopiedPoints = 3000;  // some runs of a reader and some blocks of a cache
constexpr std::int64_t kFloats = 4;
constexpr std::int64_t kRecord = PtcRecordPlaces::kData + 4 * kFloats;

/// The arrays of a run of points.
struct Points {
    explicit Points(std::int64_t count)
        : positions(3 * static_cast<std::size_t>(count)),
          normals(positions.size()),
          radii(static_cast<std::size_t>(count)),
          data(static_cast<std::size_t>(kFloats * count)) {}
    PtcPointArrays Arrays() {
        return {positions.data(), normals.data(), radii.data(), data.data()};
    }
    Points Part(std::int64_t first, std::int64_t count) const {
        Points part(count);
        std::copy_n(positions.data() + 3 * first, 3 * count, part.positions.data());
        std::copy_n(normals.data() + 3 * first, 3 * count, part.normals.data());
        std::copy_n(radii.data() + first, count, part.radii.data());
        std::copy_n(data.data() + kFloats * first, kFloats * count, part.data.data());
        return part;
    }
    bool operator==(const Points&) const = default;

    std::vector<float> positions, normals, radii, data;
};

class Copies : public testing::Test {
protected:
    ~Copies() override {
        PtcShutdown();
        unsetenv("LUMR_ASCIIPOINTCLOUD");
    }

    std::string File(const CloudForm& form) const {
        return WriteTo(folder_.File(form.name), form.bytes);
    }
    static Points ThroughTheCaches(const std::string& name) {
        const PtcFile file(name.c_str());
        Points points(kCopiedPoints);
        EXPECT_EQ(PtcGetPoints(file.Get(), 0, kCopiedPoints, points.Arrays()), kCopiedPoints);
        return points;
    }
    /// What the records of the binary form hold.
    static Points Decoded(const std::string& records) {
        Points points(kCopiedPoints);
        for (std::int64_t i = 0; i < kCopiedPoints; ++i) {
            const char* const record = records.data() + i * kRecord;
            std::memcpy(&points.positions[3 * static_cast<std::size_t>(i)], record, 12);
            std::memcpy(&points.radii[static_cast<std::size_t>(i)],
                        record + PtcRecordPlaces::kRadius, 4);
            std::memcpy(&points.data[static_cast<std::size_t>(kFloats * i)],
                        record + PtcRecordPlaces::kData, 4 * kFloats);
        }
        EXPECT_TRUE(PtcDecodeNormals(records.data() + PtcRecordPlaces::kCodes, kRecord,
                                     kCopiedPoints, points.normals.data()));
        return points;
    }
    static std::string Records(PtcReader& reader) {
        std::string records(kCopiedPoints * kRecord, '\0');
        EXPECT_EQ(reader.ReadRecords(kCopiedPoints, records.data()), kCopiedPoints)
            << PtcLastFailure().text;
        return records;
    }
    PtcCloudWriter* Created(const char* name) const {
        static constexpr const char* kTypes[] = {"color", "float"};
        static constexpr const char* kNames[] = {"glow", "number"};
        return PtcCreateCloud(
            {.name = folder_.File(name).c_str(), .point_variables = {2, kTypes, kNames}});
    }

    const ScratchFolder folder_;
    std::mt19937 random_{11};
};

TEST_F(Copies, RunsInAnyOrderAreThoseOfTheCaches) {
    for (const CloudForm& form : AllForms(kCopiedPoints)) {
        SCOPED_TRACE(form.name);
        const std::string name = File(form);
        const Points wanted = ThroughTheCaches(name);
        PtcReader reader(name.c_str());
        ASSERT_TRUE(reader) << PtcLastFailure().text;
        EXPECT_EQ(reader.RecordBytes(), kRecord);
        const std::string records = Records(reader);
        EXPECT_EQ(Decoded(records), wanted);

        std::int64_t next = kCopiedPoints;
        for (int round = 0; round < 60; ++round) {
            if (next == kCopiedPoints || random_() % 3 == 0) {
                next = static_cast<std::int64_t>(random_() % (kCopiedPoints + 1));
                ASSERT_TRUE(reader.Seek(next)) << next;
            }
            const auto count = static_cast<std::int64_t>(random_() % (round % 2 ? 2500 : 20));
            const std::int64_t there = std::min(count, kCopiedPoints - next);
            if (random_() % 2) {
                Points read(there);
                ASSERT_EQ(reader.Read(count, read.Arrays()), there);
                ASSERT_EQ(read, wanted.Part(next, there)) << next;
            } else {
                std::string read(static_cast<std::size_t>(there * kRecord), '\0');
                ASSERT_EQ(reader.ReadRecords(count, read.data()), there);
                ASSERT_EQ(read,
                          records.substr(static_cast<std::size_t>(next * kRecord), read.size()));
            }
            next += there;
        }

        const void* const mapped = reader.Map();
        ASSERT_EQ(mapped != nullptr, form.is_plain_binary) << PtcLastFailure().text;
        if (!mapped) continue;
        EXPECT_EQ(mapped, reader.Map());
        EXPECT_EQ(std::memcmp(mapped, records.data(), records.size()), 0);
    }
}

TEST_F(Copies, BatchesAreWrittenAsSinglePointsAre) {
    const Points points = ThroughTheCaches(File(AllForms(kCopiedPoints)[0]));
    for (const bool is_text : {false, true}) {
        if (is_text) setenv("LUMR_ASCIIPOINTCLOUD", "1", 1);
        for (const bool has_all : {true, false}) {
            PtcCloudWriter* const one = Created("single");
            PtcCloudWriter* const many = Created("batches");
            for (std::int64_t done = 0; done < kCopiedPoints;) {
                const std::int64_t count = std::min<std::int64_t>(
                    kCopiedPoints - done, static_cast<std::int64_t>(random_() % 1500));
                const Points part = points.Part(done, count);
                const float* const data = has_all ? part.data.data() : nullptr;
                ASSERT_TRUE(PtcWritePoints(many, {count, part.positions.data(), part.normals.data(),
                                                  has_all ? part.radii.data() : nullptr, data}))
                    << PtcLastFailure().text;
                for (std::int64_t i = 0; i < count; ++i)
                    ASSERT_TRUE(PtcWritePoint(one, part.positions.data() + 3 * i,
                                              part.normals.data() + 3 * i,
                                              has_all ? part.radii[static_cast<std::size_t>(i)] : 0,
                                              data ? data + kFloats * i : nullptr));
                done += count;
            }
            ASSERT_TRUE(PtcFinishCloud(one) && PtcFinishCloud(many));
            EXPECT_EQ(ContentOf(folder_.File("single")), ContentOf(folder_.File("batches")))
                << is_text << has_all;
        }
    }
}

TEST_F(Copies, RecordsAreCopiedByteForByte) {
    for (const CloudForm& form : AllForms(kCopiedPoints)) {
        SCOPED_TRACE(form.name);
        const std::string name = File(form);
        PtcReader from(name.c_str());
        const std::string records = Records(from);
        PtcCloudWriter* const to = Created("copy");
        ASSERT_TRUE(PtcWriteRecords(to, 1000, records.data()));
        ASSERT_TRUE(PtcWriteRecords(to, 0, nullptr));
        ASSERT_TRUE(PtcWriteRecords(to, kCopiedPoints - 1000, records.data() + 1000 * kRecord));
        ASSERT_TRUE(PtcFinishCloud(to)) << PtcLastFailure().text;
        const CloudFile copy{ContentOf(folder_.File("copy"))};
        ASSERT_EQ(copy.PointCount(), kCopiedPoints);
        EXPECT_EQ(copy.bytes.substr(copy.DataStart()), records);
        PtcHeader header{};
        ASSERT_TRUE(from.GetHeader(&header));
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_NEAR(copy.BoxValue(i), header.box[i], 1e-5) << "as text has it";
        EXPECT_NEAR(copy.LargestRadius(), header.largest_radius, 1e-6);
    }
}

TEST_F(Copies, WhatIsRefusedChangesNothing) {
    const CloudForm form = AllForms(100)[0];
    const std::string name = File(form);
    std::string cut = gzip_bytes::Whole(BytesOf({kCopiedPoints, false}));
    cut.resize(cut.size() / 2);
    WriteTo(folder_.File("damaged"), cut);
    PtcReader reader(name.c_str());
    PtcReader none(folder_.File("nothing").c_str());
    PtcReader nameless(nullptr);
    PtcReader damaged(folder_.File("damaged").c_str());
    ASSERT_TRUE(reader && damaged);
    EXPECT_FALSE(none || nameless);
    PtcCloudWriter* const writer = Created("written");
    constexpr float kThree[3] = {};
    constexpr float kRadii[2] = {1, -1};
    std::string records(kCopiedPoints * kRecord, '\0');
    std::string negative(2 * kRecord, '\0');
    Put(&negative, kRecord + PtcRecordPlaces::kRadius, -1.0f);
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    using enum PtcFailureCode;
    const struct {
        const char* words;
        PtcFailureCode code;
        std::function<bool()> call;
    } cases[] = {
        {"no open file", kBadArgument, [&] { return none.Read(1, {}) > 0; }},
        {"no open file", kBadArgument, [&] { return none.ReadRecords(1, &records[0]) > 0; }},
        {"no open file", kBadArgument, [&] { return none.Seek(0); }},
        {"no open file", kBadArgument, [&] { return nameless.Map() != nullptr; }},
        {"no place", kBadArgument, [&] { return reader.GetHeader(nullptr); }},
        {"no place", kBadArgument, [&] { return reader.ReadRecords(1, nullptr) > 0; }},
        {"no such point", kBadArgument, [&] { return reader.Seek(-1); }},
        {"no such point", kBadArgument, [&] { return reader.Seek(101); }},
        {"point 100: there is none", kNoSuchRecord,
         [&] { return reader.Seek(100) && reader.Read(1, {}) > 0; }},
        {"point 100: there is none", kNoSuchRecord,
         [&] { return reader.Seek(0) && reader.ReadRecords(kMost, &records[0]) > 100; }},
        {"point 1499 cannot be read", kUnreadable,
         [&] { return damaged.Read(kCopiedPoints, {}) == kCopiedPoints; }},
        {"the next point cannot be read", kUnreadable, [&] { return damaged.Read(1, {}) > 0; }},
        {"point 1499 cannot be read", kUnreadable,
         [&] {
             return damaged.Seek(0) &&
                    damaged.ReadRecords(kCopiedPoints, &records[0]) == kCopiedPoints;
         }},
        {"no writer", kBadArgument, [&] { return PtcWritePoints(nullptr, {}); }},
        {"no writer", kBadArgument, [&] { return PtcWriteRecords(nullptr, 0, nullptr); }},
        {"no positions", kBadArgument,
         [&] {
             return PtcWritePoints(writer, {1, nullptr, kThree});
         }},
        {"no normals", kBadArgument,
         [&] {
             return PtcWritePoints(writer, {1, kThree});
         }},
        {"number is negative", kBadArgument, [&] { return PtcWritePoints(writer, {-1}); }},
        {"number is negative", kBadArgument,
         [&] { return PtcWriteRecords(writer, -1, records.data()); }},
        {"no records", kBadArgument, [&] { return PtcWriteRecords(writer, 1, nullptr); }},
        {"radius of point 1 is negative", kBadArgument,
         [&] {
             const float six[6] = {};
             return PtcWritePoints(writer, {2, six, six, kRadii});
         }},
        {"radius of point 1 is negative", kBadArgument,
         [&] { return PtcWriteRecords(writer, 2, negative.data()); }},
    };
    for (const auto& row : cases) {
        EXPECT_FALSE(row.call()) << row.words;
        EXPECT_EQ(PtcLastFailure().code, row.code) << row.words;
        EXPECT_NE(std::string(PtcLastFailure().text).find(row.words), std::string::npos)
            << PtcLastFailure().text;
    }
    // Seek() helps after damage, and nothing was written.
    EXPECT_TRUE(damaged.Seek(1)) << PtcLastFailure().text;
    EXPECT_EQ(damaged.Read(1, {}), 1);
    EXPECT_TRUE(PtcFinishCloud(writer));
    EXPECT_EQ(CloudFile{ContentOf(folder_.File("written"))}.PointCount(), 0);
}

TEST_F(Copies, AReaderKeepsTheFileThatHadTheName) {
    const std::vector<CloudForm> forms = AllForms(kCopiedPoints);
    const std::string name = File(forms[0]);
    PtcReader first(name.c_str());
    const std::string records = Records(first);
    WriteTo(folder_.File("other"), BytesOf({50, false}));
    std::filesystem::rename(folder_.File("other"), name);
    PtcShutdown();  // which concerns no reader
    PtcReader second(name.c_str());
    PtcHeader header{};
    ASSERT_TRUE(first.Seek(0) && second.GetHeader(&header));
    EXPECT_EQ(Records(first), records);
    EXPECT_EQ(header.points, 50);
    second = std::move(first);
    EXPECT_EQ(std::memcmp(second.Map(), records.data(), records.size()), 0);
}

}  // namespace
