// Names of other zones through the public functions: one file is one object, read or written.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "ptc/access.h"
#include "ptc/files/managed_file.h"
#include "ptc/files/thread_files.h"
#include "ptc/organise.h"
#include "ptc/reader.h"
#include "ptc/writer.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "util/host/config.h"
#include "util/stats/process_stats.h"

namespace {

/// Options stay for the whole process, so every test has zones of its own.
class PtcZones : public testing::Test {
protected:
    void TearDown() override { PtcShutdown(); }

    /// The zone of this machine, in which a folder is the test's, and another name for all zones.
    void AddZones(const std::string& zone) const {
        std::ostringstream file;
        file << "/dirmap/zone " << zone << "\n/dirmap/zone " << zone << " /" << zone << "/work "
             << folder_.File("") << "\n/dirmap/zone * //" << zone << " " << folder_.File("")
             << "\n";
        ConfigReadFile(WriteTo(folder_.File("ini"), file.str()).c_str());
    }

    ScratchFolder folder_;
};

TEST_F(PtcZones, AllNamesOfAFileLeadToOneObject) {
    AddZones("ut-read");
    const std::string cloud = WriteTo(folder_.File("a.ptc"), SmallCloud(TokenForm::kBinary));
    bool opened = false;
    PtcManagedFile* const file = PtcOpenManaged("/ut-read/work/a.ptc", &opened);
    ASSERT_NE(file, nullptr) << PtcLastFailure().text;
    EXPECT_TRUE(opened);
    EXPECT_EQ(file->Name(), cloud);
    for (const char* const name : {"//ut-read/a.ptc", cloud.c_str(), "/ut-read/work/a.ptc"}) {
        EXPECT_EQ(PtcOpenManaged(name, &opened), file) << name;
        EXPECT_FALSE(opened) << name;
        EXPECT_EQ(PtcOpenForReading(name), file) << name;
        PtcVariables variables;
        EXPECT_EQ(PtcOpenWithVariables(name, &variables), file) << name;
        PtcManagedFile* const alone = PtcOpenAlone(name);
        EXPECT_NE(alone, nullptr) << name;
        PtcRelease(alone);
        EXPECT_TRUE(PtcReader(name)) << name;
    }
    TgStats stats;
    UtFileManager::Get()->Manager().FillStats(&stats);
    EXPECT_EQ(stats.files_opened.Value(), 1U);

    EXPECT_EQ(PtcOpenForReading("/ut-read/workshop/a.ptc"), nullptr);
    EXPECT_EQ(PtcOpenForReading("/ut-read/work/none.ptc"), nullptr);
    EXPECT_TRUE(std::string(PtcLastFailure().text).starts_with(folder_.File("none.ptc: ")))
        << "a failure tells the place: " << PtcLastFailure().text;
}

TEST_F(PtcZones, WhatIsWrittenIsFoundUnderTheNameThatItWasWrittenUnder) {
    AddZones("ut-write");
    const char* const a = "/ut-write/work/a.ptc";
    PtcCloudWriter* const cloud = PtcCreateCloud({.name = a});
    ASSERT_NE(cloud, nullptr) << PtcLastFailure().text;
    const float place[3] = {1, 2, 3};
    EXPECT_TRUE(PtcWritePoint(cloud, place, place, 1, nullptr));
    EXPECT_TRUE(PtcFinishCloud(cloud));
    const char* const inputs[] = {a, "//ut-write/a.ptc"};
    std::int64_t points = 0;
    EXPECT_TRUE(
        PtcMerge({.inputs = inputs, .input_count = 2, .output = "//ut-write/b.ptc"}, &points))
        << PtcLastFailure().text;
    EXPECT_EQ(points, 2);
    PtcOrganiseSummary summary{};
    EXPECT_TRUE(PtcOrganise({.inputs = inputs, .input_count = 1, .output = "/ut-write/work/c.ptc"},
                            &summary))
        << PtcLastFailure().text;
    EXPECT_EQ(summary.points, 1);
    for (const char* const name : {"a.ptc", "b.ptc", "c.ptc"})
        EXPECT_TRUE(std::filesystem::exists(folder_.File(name))) << name;
    EXPECT_FALSE(PtcMerge({.inputs = inputs, .input_count = 2}, nullptr));
    EXPECT_FALSE(PtcMerge({.input_count = 2, .output = "//ut-write/d.ptc"}, nullptr));
}

}  // namespace
