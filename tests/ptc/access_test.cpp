// The access library's entry points over real files: numbers, modes, finishing, changes, shortages.

#include "ptc/access.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <filesystem>

#include "ptc/files/managed_file.h"
#include "ptc/files/thread_files.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "util/host/config.h"
#include "util/host/runtime.h"
#include "util/stats/process_stats.h"

namespace {

class PtcAccess : public testing::Test {
protected:
    void TearDown() override {
        PtcConfigure(0, 0, 0, nullptr);
        PtcShutdown();
    }
    std::string Write(const std::string& name, const std::string& bytes) const {
        return WriteTo(folder_.File(name), bytes);
    }
    std::string WriteCloud(const std::string& name) const {
        return Write(name, SmallCloud(TokenForm::kBinary));
    }
    /// Writes `count` points, with their index as x and as data, through a managed file.
    static PtcManagedFile* WriteManaged(const std::string& name, int count) {
        const char* const types[] = {"float"};
        const char* const names[] = {"number"};
        CloudDescription description;
        description.point_variables = {1, types, names};
        PtcOpener opener(&description);
        bool opened = false;
        UtFileManager::Create(8, 2, 0);
        auto* file =
            static_cast<PtcManagedFile*>(UtFileManager::Get()->Open(name.c_str(), opener, &opened));
        EXPECT_TRUE(opened);
        EXPECT_EQ(opener.GetStatus(), PtcOpener::Status::kOpened);
        for (int i = 0; i < count; ++i) {
            const auto x = static_cast<float>(i);
            EXPECT_EQ(WritePoint(*file->Writing(), {{x, 0, 0}, {0, 0, 1}, 1}, &x),
                      CloudStatus::kOk);
        }
        return file;
    }
    /// The x of point `index`, or of the next point of a transient file; -1 when it fails.
    static float Read(PtcManagedFile& file, std::int64_t index) {
        std::array<float, 8> data{};
        PtcPoint point{};
        point.data = data.data();
        return Failed(file.ReadPoints(index, 1, &point)) ? -1 : point.position[0];
    }

    ScratchFolder folder_;
};

TEST_F(PtcAccess, TheFirstOpenDecidesHowManyFilesMayBeOpen) {
    runtime::SetThreadCount(8);
    const std::string cloud = WriteCloud("a.ptc");
    const auto sizes_of_first = [&](auto open) {
        EXPECT_NE(open(cloud.c_str()), nullptr);
        const UtFileManager::Sizes sizes = UtFileManager::Get()->Manager().GetSizes();
        PtcShutdown();
        return sizes;
    };
    EXPECT_EQ(sizes_of_first(PtcOpenForReading).allowance, 127) << "of 1024 files for 8 threads";
    EXPECT_EQ(sizes_of_first([](const char* name) { return PtcOpenManaged(name); }).limit, 256);
    const std::pair<const char*, int> options[] = {
        {"0", 1024}, {"many", 1024}, {"-5", 1024}, {"16", 16}, {"99999999999", 65536}};
    for (const auto& [text, limit] : options) {
        const std::string file =
            Write("ini", std::string("/lumrd/texture/maxfiles ") + text + "\n");
        ConfigReadFile(file.c_str());
        EXPECT_EQ(sizes_of_first(PtcOpenForReading).limit, limit) << text;
    }
}

TEST_F(PtcAccess, HandsOutOneObjectANameAndOnlyWhatCanBeRead) {
    const std::string cloud = WriteCloud("a.ptc");
    bool opened = false;
    PtcManagedFile* const file = PtcOpenManaged(cloud.c_str(), &opened);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(opened);
    EXPECT_EQ(PtcFromHandle(PtcOpenHandle(cloud.c_str())), file);
    PtcVariables variables;
    EXPECT_EQ(PtcOpenWithVariables(cloud.c_str(), &variables), file);
    EXPECT_EQ(variables.types, (std::vector<std::string>{"float", "color[2]"}));
    EXPECT_EQ(variables.names, (std::vector<std::string>{"_area", ""}));
    const std::string bare = Write("bare.ptc", MemoryCloud({}).Finished());
    EXPECT_EQ(PtcOpenWithVariables(bare.c_str(), &variables), nullptr);
    EXPECT_NE(PtcOpenForReading(bare.c_str()), nullptr);

    const std::string late = folder_.File("late.ptc");
    for (const std::string& name : {std::string(), late, Write("text", "no cloud\n")})
        EXPECT_EQ(PtcOpenManaged(name.c_str(), &opened), nullptr) << name;
    EXPECT_FALSE(opened);
    EXPECT_EQ(PtcOpenManaged(nullptr), nullptr);
    WriteCloud("late.ptc");
    EXPECT_EQ(PtcOpenForReading(late.c_str()), nullptr) << "it has failed";

    TgStats stats;
    UtFileManager::Get()->Manager().FillStats(&stats);
    EXPECT_EQ(stats.files_opened.Value(), 2U);
    EXPECT_EQ(stats.files_open_error.Value(), 3U);
    PtcShutdown();
    EXPECT_NE(PtcOpenForReading(late.c_str()), nullptr);
}

TEST_F(PtcAccess, OnlyTheWholeWordMakesFilesTransient) {
    const std::string cloud = WriteCloud("a.ptc");
    const std::pair<const char*, bool> modes[] = {
        {"transient", true}, {"Transient", false}, {"transient ", false}, {"transient", true},
        {"", false},         {"transient", true},  {nullptr, false}};
    for (const auto& [mode, is_transient] : modes) {
        PtcConfigure(1, 100, 100, mode);
        const PtcManagedFile* const file = PtcOpenManaged(cloud.c_str());
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(file->IsTransient(), is_transient) << (mode ? mode : "(none)");
        PtcShutdown();
    }
}

TEST_F(PtcAccess, AFinishedFileIsReadWhereItWasWritten) {
    for (const char* mode : {"", "transient"}) {
        SCOPED_TRACE(mode);
        PtcConfigure(1, 100, 100, mode);
        const std::string name = folder_.File(std::string("written") + mode);
        PtcManagedFile* const file = WriteManaged(name, 3);
        EXPECT_EQ(Read(*file, 0), -1) << "it is being written";
        EXPECT_EQ(PtcGetPoint(file, 0), nullptr);
        EXPECT_STREQ(PtcLastFailure().what, "is not open for reading");
        // Others come and go; a file that is being written must not be closed for them.
        for (const char* other : {"a", "b", "c"})
            PtcRelease(PtcOpenManaged(WriteCloud(other).c_str()));
        EXPECT_EQ(PtcFinish(file), 1);
        EXPECT_EQ(PtcOpenManaged(name.c_str()), file);
        EXPECT_EQ(file->Header()->point_count, 3);
        EXPECT_EQ(file->Header()->x_resolution, 640);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(Read(*file, i), static_cast<float>(i));
        EXPECT_EQ(Read(*file, 3), -1);
        EXPECT_EQ(PtcFinish(file), 1);
        EXPECT_EQ(PtcOpenManaged(name.c_str()), file);
        EXPECT_EQ(Read(*file, 0), 0) << "a transient file is read from the start again";
        EXPECT_STREQ(UtFileManager::Get()->Manager().BrokenPromise(), nullptr);
        PtcShutdown();
    }
    EXPECT_EQ(PtcFinish(nullptr), 0);
}

TEST_F(PtcAccess, AFileOfTheCallersOwnGoesWhenItIsReleased) {
    auto* const file = new PtcManagedFile(WriteCloud("a.ptc").c_str());
    EXPECT_FALSE(file->IsManaged());
    EXPECT_EQ(PtcFinish(new PtcManagedFile(nullptr)), 0);
    EXPECT_EQ(file->reopen(), AccessStatus::kOk);
    EXPECT_EQ(Read(*file, 2), 2.5f);
    PtcRelease(file);
    PtcRelease(nullptr);

    SetTransientFiles(true);
    PtcManagedFile transient(WriteCloud("a.ptc").c_str());
    EXPECT_EQ(transient.reopen(), AccessStatus::kOk);
    EXPECT_EQ(transient.close(), AccessStatus::kOk);
    EXPECT_TRUE(transient.IsOpen());
    EXPECT_EQ(Read(transient, 0), 0.5f);
}

TEST_F(PtcAccess, TheCodeOfAFailedOpenIsItsOwn) {
    const std::string cloud = SmallCloud(TokenForm::kBinary);
    std::string bad_point = SmallCloud(TokenForm::kText);
    bad_point[bad_point.find("1.500000e+00")] = 'x';
    CloudDescription good;
    CloudDescription bad;
    bad.point_variables.count = 1;  // of which there is no array
    struct Row {
        std::string name;
        int code;
        const CloudDescription* description = nullptr;  // null: the file is read
    };
    SetTransientFiles(true);
    for (const Row& row :
         {Row{folder_.File("none"), ENOENT}, Row{folder_.File(""), EISDIR},
          Row{Write("text", "no cloud\n"), -1}, Row{Write("cut", cloud.substr(0, 340)), -1},
          Row{Write("point", bad_point), -1}, Row{Write("good", cloud), 0},
          Row{folder_.File("no/such"), ENOENT, &good}, Row{"/dev/full", ENOSPC, &good},
          Row{folder_.File("bad"), -1, &bad}}) {
        PtcManagedFile file(row.name.c_str());
        errno = EMFILE;  // of something that failed before
        const AccessStatus status = row.description ? file.Create(*row.description) : file.reopen();
        EXPECT_EQ(ToErrorCode(status), row.code) << row.name;
        EXPECT_EQ(file.LastError(), row.code) << row.name;
    }
}

TEST_F(PtcAccess, AFileThatChangedWhileItWasClosedIsAnotherForTheCaches) {
    const std::string name = WriteCloud("a.ptc");
    PtcManagedFile file(name.c_str());
    ASSERT_EQ(file.reopen(), AccessStatus::kOk);
    const auto reopened_as_another = [&](auto change) {
        const std::uint32_t before = file.Identity();
        EXPECT_EQ(file.close(), AccessStatus::kOk);
        EXPECT_EQ(Read(file, 0), -1);
        change();
        EXPECT_EQ(file.reopen(), AccessStatus::kOk);
        EXPECT_EQ(static_cast<PtcBlockSource&>(file).Identity(), file.Identity());
        return file.Identity() != before;
    };
    const auto time = std::filesystem::last_write_time(name);
    EXPECT_FALSE(reopened_as_another([] {}));
    EXPECT_TRUE(reopened_as_another(
        [&] { std::filesystem::last_write_time(name, time + std::chrono::hours(1)); }));
    EXPECT_TRUE(reopened_as_another([&] { Write("a.ptc", SmallCloud(TokenForm::kText)); }));
    EXPECT_TRUE(reopened_as_another([&] {
        std::filesystem::rename(WriteCloud("b.ptc"), name);
        std::filesystem::last_write_time(name, time);
    })) << "another file in its place";
    EXPECT_FALSE(reopened_as_another([] {}));

    ASSERT_EQ(file.close(), AccessStatus::kOk);
    std::filesystem::remove(name);
    EXPECT_EQ(ToErrorCode(file.reopen()), ENOENT);
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(PtcAccess, RunsOnWhenTheProcessHasNoDescriptorsLeft) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i) names.push_back(WriteCloud(std::to_string(i)));
    const auto in_use = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    const rlimit tight = {static_cast<rlim_t>(in_use) + 12, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    int missing = 0;
    for (int round = 0; round < 2; ++round)
        for (const std::string& name : names) {
            PtcManagedFile* const file = PtcOpenForReading(name.c_str());
            missing += file && Read(*file, 0) == 0.5f ? 0 : 1;
            PtcRelease(file);
        }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(missing, 0);
    EXPECT_LE(UtFileManager::Get()->Manager().OpenFiles(), 12);
}

}  // namespace
