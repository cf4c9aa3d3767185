// ptc organize and ptc merge as a user runs them.

#include <cmath>
#include <random>

#include "ptc/organise.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/small_disk.h"
#include "tests/tools/run_tool.h"
#include "tools/ptc/inspect/cloud_check.h"

using namespace sound_cloud;

namespace {

/// Six sound points, and then one of each kind that is odd.
std::string OddPoints() {
    std::string bytes = Bytes({.points = 11, .has_nodes = false});
    const auto change = [&](std::size_t point, std::size_t field, float value) {
        Put(&bytes, kDataStart + point * kRecord + 4 * field, value);
    };
    change(6, 0, NAN);
    change(7, 1, -HUGE_VALF);
    change(8, 4, NAN);
    change(9, 4, HUGE_VALF);
    change(10, 4, 3e38f);
    for (std::size_t axis = 0; axis < 3; ++axis) change(10, axis, axis == 0 ? -3e38f : 3e38f);
    return bytes;
}

TEST(PtcOrganiseTool, ReportsAreThoseOfTheTranscript) {
    const ToolFolder folder;
    folder.Write("odd.ptc", OddPoints());
    folder.Write("flat.ptc", Bytes({.has_nodes = false}));
    folder.Write("empty.ptc", Bytes({.points = 0, .has_nodes = false}));
    folder.Write("cut.ptc", Bytes({.has_nodes = false}).substr(0, kDataStart + kRecord + 1));
    folder.Write("table.csv", "x,y,z\n1,2,3\n");
    folder.Convert("table.csv other.ptc");
    folder.Write("out.ptc", "");
    folder.Write("out.ptc.gz", "");
    const auto before = folder.Names();
    folder.ExpectTranscript("ptc_organise.txt", [&] { EXPECT_EQ(folder.Names(), before); });
}

/// Of points with a finite position at least one, so that there is an octree.
TEST(PtcOrganiseTool, EveryOrganisedFileIsSound) {
    std::mt19937 random(11);
    const float odd[] = {NAN,    HUGE_VALF, -HUGE_VALF, 3.4e38f, -3.4e38f,
                         1e-45f, 0,         -0.0f,      1e30f,   -1e30f};
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE(round);
        const std::size_t count = 1 + random() % 200;
        std::string bytes = Bytes({.points = count, .has_nodes = false});
        for (std::size_t change = random() % (2 * count); change > 0; --change) {
            const std::size_t point = random() % count, axis = random() % 4;
            float value =
                random() % 2 ? odd[random() % std::size(odd)] : static_cast<float>(random() % 4);
            if (axis == 3 && value < 0) value = -value;
            if (point == 0 && !std::isfinite(value)) continue;
            Put(&bytes, kDataStart + point * kRecord + 4 * (axis == 3 ? 4 : axis), value);
        }
        const ScratchFolder folder;
        const std::string in = WriteTo(folder.File("in.ptc"), bytes), out = folder.File("out.ptc");
        const char* const inputs[] = {in.c_str()};
        PtcOrganiseSummary summary;
        ASSERT_TRUE(PtcOrganise({.inputs = inputs,
                                 .input_count = 1,
                                 .output = out.c_str(),
                                 .leaf_points = static_cast<int>(1 + random() % 20)},
                                &summary))
            << PtcLastFailure().text;
        std::string found;
        FaultList faults(5, [&](std::int64_t, const std::string& what) { found += what + '\n'; });
        const CheckedCounts counts = CheckCloud(InputFile(out), faults, false);
        EXPECT_EQ(found, "");
        EXPECT_EQ(counts.apart, summary.not_finite);
        EXPECT_EQ(counts.points, static_cast<std::int64_t>(count));
        EXPECT_GT(counts.nodes, 0);
    }
}

TEST(PtcOrganiseTool, WhatCannotFitIsRefusedBeforeTheWork) {
    const SmallDisk disk(1 << 16);
    if (!disk.IsMounted()) GTEST_SKIP() << "only root may mount";
    const ToolFolder folder;
    folder.Write("in.ptc", Bytes({.points = 2000, .has_nodes = false}));
    folder.Write("big.ptc", Bytes({.points = 20'000'000 / kRecord, .has_nodes = false}));
    folder.Write("flat.ptc", Bytes({.has_nodes = false}));
    folder.Write("cut.ptc", Bytes({.points = 2000, .has_nodes = false}).substr(0, 10'000));
    const std::string place = std::filesystem::canonical(disk.File("")).string();
    const std::string out = place + "/out.ptc", lack = " are free in " + place;
    const std::string needs = "needs " + std::to_string(2000 * kRecord) + " bytes, 65536" + lack;
    const struct {
        std::string line;
        std::string err;  // empty: it succeeds
    } cases[] = {
        {"ptc merge in.ptc -o " + out, "ptc: " + out + ": " + needs + "\n"},
        {"ptc organize in.ptc -o " + out, "ptc: " + out + ": " + needs + "\n"},
        {"ptc merge flat.ptc -o " + out, ""},
        {"ptc organize flat.ptc -o " + out, ""},
        {"TMPDIR=" + place + " ptc merge in.ptc -o - > copy", "standard output: needs "},
        {"TMPDIR=" + place + " ptc organize in.ptc -o new.ptc", ""},
        {"TMPDIR=" + place + " ptc organize --memory 16M big.ptc -o new.ptc",
         "temporary file: needs "},
        {"ptc merge cut.ptc -o " + out, "it is shorter than its number"},
        // Of these nobody knows before.
        {"gzip -k in.ptc && ptc merge in.ptc.gz -o " + out, "No space left on device"},
        {"ptc organize --drop-repeats in.ptc -o " + out, "No space left on device"},
        {"ptc merge in.ptc in.ptc -o /dev/null", ""},
    };
    for (const auto& row : cases) {
        const ToolRun run = folder.Shell(row.line);
        EXPECT_EQ(run.status, row.err.empty() ? 0 : 1) << row.line << run.err;
        if (!row.err.empty()) {
            EXPECT_NE(run.err.find(row.err), std::string::npos) << row.line << run.err;
        }
    }
}

}  // namespace
