// What the host says of the file that a driver leaves: whole, or a failure.

#include <fmt/format.h>

#include <cstring>
#include <functional>

#include "tests/tools/run_tool.h"
#include "tools/bake/outcome.h"
#include "tools/bake/stored_cloud.h"
#include "tools/common/failure.h"

namespace {

constexpr const char* kBake = " --driver " DRIVER " --output cloud --rays 1 --threads 1 ";

TEST(Outcome, AFileThatCouldNotGrowIsAFailure) {
    const ToolFolder folder;
    for (const char* options : {"", "--eliminate-duplicates", "--simplify --max-dist 0.001",
                                "--eliminate-duplicates --simplify --max-dist 0.001", "--ascii"}) {
        const std::string bake = std::string(kBake) + "--density 60 " + options;
        const ToolRun whole = folder.Run(bake);
        EXPECT_EQ(whole.status, 0) << whole.err;
        EXPECT_NE(whole.out.find(" points\n"), std::string::npos) << whole.out;
        const ToolRun cut = folder.Shell("ulimit -f 200 && pcbake" + bake);
        EXPECT_EQ(cut.status, 1) << options;
        EXPECT_NE(cut.err.find("pcbake: cloud: "), std::string::npos) << cut.err;
    }
    const ToolRun full = folder.Run(std::string(kBake) + "--output /dev/full");
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(folder.Run(std::string(kBake) + "--density 2 >/dev/full").status, 1);
}

/// Sets the header's count, which both forms keep at the same width.
void Promise(double points, std::string* file) {
    if (file->starts_with("kptc")) {
        std::memcpy(file->data() + 8, &points, sizeof points);
    } else {
        file->replace(file->find("npoints ") + 8, 16, fmt::format("{:16.0f}", points));
    }
}

void LoseLastPoint(std::string* file) {
    const bool is_binary = file->starts_with("kptc");
    const std::size_t line = file->rfind('\n', file->size() - 2);  // of the data
    file->resize(is_binary ? file->size() - 40 : file->rfind('\n', line - 1) + 1);
}

TEST(Outcome, HeaderFileAndDeliveriesMustAgree) {
    using bake::DriverSettings;
    DriverSettings plain, drops, thins;
    drops.eliminate_duplicates = true;
    thins.simplify = true;
    const struct {
        const char* name;
        std::function<void(std::string*)> change;
        const DriverSettings& settings;
        const char* message;  // null: the file is taken
    } cases[] = {
        {"whole", [](std::string*) {}, plain, nullptr},
        {"whole", [](std::string*) {}, drops, nullptr},
        {"whole", [](std::string*) {}, thins, nullptr},
        {"header and points one short", nullptr, plain, "points are missing: the cloud has"},
        {"header and points one short", nullptr, drops, "points are missing: the cloud has"},
        {"header and points one short", nullptr, thins, "points are missing: the cloud's have"},
        {"cut within a point", [](std::string* file) { file->pop_back(); }, thins, "missing"},
        {"old header", [](std::string* file) { Promise(0, file); }, thins, "missing"},
        {"too long", [](std::string* file) { *file += ' '; }, thins, "more is stored"},
        {"cut within the header", [](std::string* file) { file->resize(330); }, plain, "header"},
        {"a count that is none", [](std::string* file) { Promise(-1, file); }, plain, "header"},
        {"empty", [](std::string* file) { file->clear(); }, plain, "empty"},
        {"another kind", [](std::string* file) { *file = "PNG"; }, plain, nullptr},
    };
    for (const char* form : {"", "--ascii"}) {
        const ToolFolder folder;
        ASSERT_EQ(folder.Run(std::string(kBake) + "--density 8 " + form).status, 0);
        const std::string whole = folder.Content("cloud");
        const auto stored = bake::ReadStoredCloud(folder.Path("cloud"));
        ASSERT_TRUE(stored && stored->has_area);
        bake::Tally tally(0.1f);
        for (std::uint64_t i = 0; i < stored->found; ++i) {
            std::vector<float> sample(bake::kSampleFloats, static_cast<float>(i));
            sample[bake::kSampleArea] = float(stored->area / double(stored->found));
            tally.Add(sample);
        }
        for (const auto& tested : cases) {
            SCOPED_TRACE(std::string(tested.name) + form);
            std::string bytes = whole;
            if (tested.change) {
                tested.change(&bytes);
            } else {
                LoseLastPoint(&bytes);
                Promise(double(stored->found - 1), &bytes);
            }
            folder.Write("cloud", bytes);
            std::string told;
            try {
                RequireOutcome(folder.Path("cloud"), tally, tested.settings);
            } catch (const Failure& failure) {
                told = failure.what();
            }
            EXPECT_EQ(told.empty(), tested.message == nullptr) << told;
            EXPECT_NE(told.find(tested.message ? tested.message : ""), std::string::npos) << told;
        }
    }
}

TEST(Outcome, WhatMayBeTakenForARepeatIsNotCountedOn) {
    bake::Tally tally(1);
    const auto add = [&](float x, std::size_t samples) {
        tally.Add(std::vector<float>(samples * bake::kSampleFloats, x));
        return tally.Distinct().samples;
    };
    EXPECT_EQ(add(0.5f, 1), 1u);
    EXPECT_EQ(add(0.5f, 1), 1u) << "a repeat";
    EXPECT_EQ(add(0.5f + 0.03f, 1), 1u) << "dust that a driver may take for the same";
    EXPECT_EQ(add(0.5f - 0.03f, 1), 1u);
    EXPECT_EQ(add(0.5f, 2), 3u) << "another number of samples";
    EXPECT_EQ(add(0.7f, 1), 4u);
    EXPECT_EQ(tally.All().samples, 7u);
}

}  // namespace
