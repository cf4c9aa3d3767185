// ptc check: each fault is found, at its place.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/golden.h"
#include "tests/support/scratch.h"
#include "tools/ptc/inspect/cloud_check.h"
#include "tools/ptc/inspect/cloud_repair.h"

using namespace sound_cloud;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr std::size_t kPoint1 = kDataStart + kRecord;
constexpr std::size_t kPoint4 = kDataStart + 4 * kRecord;
constexpr std::size_t kRootChildren = kRoot + 37;

/// What is done to the bytes of a sound file.
struct Damage {
    std::string name;
    std::function<void(std::string*)> change;
};

template <class T>
Damage Set(std::size_t at, T value) {
    return {"set " + std::to_string(at) + " to " + testing::PrintToString(value),
            [=](std::string* bytes) { Put(bytes, at, value); }};
}

Damage Cut(std::size_t size) {
    return {"cut to " + std::to_string(size), [=](std::string* bytes) { bytes->resize(size); }};
}

Damage Change(const std::string& from, const std::string& to) {
    return {"change " + from + " to " + to,
            [=](std::string* bytes) { bytes->replace(bytes->find(from), from.size(), to); }};
}

/// The faults of a file that holds `bytes`, a line each: the offset, a colon, the text.
std::string FaultsOf(const std::string& bytes) {
    const ScratchFolder folder;
    std::string faults;
    FaultList list(1000, [&](std::int64_t offset, const std::string& what) {
        faults += std::to_string(offset) + ": " + what + '\n';
    });
    CheckCloud(InputFile(WriteTo(folder.File("a.ptc"), bytes)), list, false);
    return faults;
}

/// What is found in `sound` behind each damage.
std::string Report(const std::string& sound, const std::vector<std::vector<Damage>>& rows) {
    std::string report;
    for (const auto& row : rows)
        for (const Damage& damage : row) {
            std::string bytes = sound;
            damage.change(&bytes);
            report += "# " + damage.name + '\n' + FaultsOf(bytes);
        }
    return report;
}

TEST(Check, FindsEachFaultAtItsPlace) {
    const Damage bytes_among_nodes = {"8 bytes among the nodes", [](std::string* bytes) {
                                          bytes->insert(kLeafA, 8, 'x');
                                          Put(bytes, 48, std::int64_t{kRoot + 8});
                                          Put(bytes, kRootChildren + 8, std::int64_t{kLeafA + 8});
                                          Put(bytes, kRootChildren + 16, std::int64_t{kLeafB + 8});
                                      }};
    const Damage lagging = {"a header that lags", [](std::string* bytes) {
                                *bytes = Bytes({kPoints, false}) + "tail";
                                Put(bytes, 8, 2.0);
                            }};
    const std::vector<std::vector<Damage>> binary = {
        {Set(0, 'x'), Set(4, 3), Set(8, std::nan("")), Set(8, 2.5), Set(32, kNan), Set(20, 100.0f)},
        {Set(40, 4.0), Set(40, 0.0), Set(48, std::int64_t{0}), Set(48, std::int64_t{kLeafB})},
        {Set(56, kNan), Set(208, HUGE_VALF), Set(324, kNan), Set(328, -1), Set(332, 5)},
        {Set(336, 'g'), Set(363, 2), Cut(200), lagging},
        // Points.
        {Set(kPoint1 + 4, kNan), Set(kDataStart, -0.25f), Set(kPoint4, 4.25f)},
        {Set(kPoint1 + 16, -1.0f), Set(56, 0.6f), Set(kPoint1 + 24, HUGE_VALF)},
        {Set(kPoint1 + 16, kNan), Cut(kPoint1 + 30), Cut(kPoint1)},
        // Nodes.
        {Set(kLeafA, -1), Set(kLeafB + 4, 4), Set(kRoot, 1), Set(kLeafA + 8, kNan)},
        {Set(kLeafA + 8, 1.75f), Set(kLeafB + 24, 9.0f), Set(kLeafA + 20, 0.5f)},
        {Set(kLeafA + 32, kNan), Set(kLeafA + 36, '\1'), Set(kRoot + 36, '\2')},
        {Set(kRootChildren, std::int64_t{kRoot}), Set(kRootChildren, std::int64_t{1} << 40)},
        {Set(kRootChildren + 8, std::int64_t{kLeafA}), Cut(kEnd - 1), bytes_among_nodes},
    };
    // The place of a text's fault is its line's.
    const std::vector<std::vector<Damage>> text = {
        {Change("rootpos", "rottpos"), Change("nodes                3", "nodes                4")},
        {Change(" 2.000000e+00 4.", "          nan 4."), Change(" 2.000000e+00", " 2,000000e+00")},
        {Change("firstpoint 2", "firstpoint 9")},
    };
    ExpectGolden("check_faults.txt",
                 Report(Bytes(), binary) + Report(Bytes({kPoints, true, TokenForm::kText}), text));
}

TEST(Check, FindsNothingInSoundFiles) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText})
        for (const std::size_t points : {std::size_t{0}, kPoints})
            EXPECT_EQ(FaultsOf(Bytes({points, points > 0, form})), "");
}

/// Organising keeps points that lie nowhere behind those of the root, and radii that are none.
TEST(Check, KnowsWhatNoNodeCovers) {
    const ScratchFolder folder;
    std::string bytes = Bytes({.points = kPoints + 3});
    const auto change = [&](std::size_t point, std::size_t field, float value) {
        Put(&bytes, kDataStart + point * kRecord + 4 * field, value);
    };
    change(1, 4, kNan);
    change(2, 4, HUGE_VALF);
    change(5, 0, kNan);
    change(7, 1, -HUGE_VALF);
    EXPECT_EQ(FaultsOf(bytes), "");
    FaultList none;
    const InputFile file(WriteTo(folder.File("a.ptc"), bytes));
    const CheckedCounts counts = CheckCloud(file, none, false);
    EXPECT_EQ(std::pair(counts.apart, counts.zero_radii),
              std::pair(std::int64_t{2}, std::int64_t{2}));

    OutputFile repaired(folder.File("b.ptc"));
    const RepairReport report = RepairCloud(file, repaired);
    EXPECT_EQ(report.octree, RepairReport::Octree::kKept);
    EXPECT_EQ(report.unsound, 0);
    repaired.Commit();
    EXPECT_EQ(FaultsOf(ContentOf(folder.File("b.ptc"))), "");

    change(3, 4, -HUGE_VALF);
    change(6, 4, -1.0f);
    change(4, 0, kNan);  // the last that the root covers
    const std::string faults = FaultsOf(bytes);
    EXPECT_NE(faults.find("point 3: radius -inf"), std::string::npos) << faults;
    EXPECT_NE(faults.find("point 6: radius -1"), std::string::npos) << faults;
    EXPECT_NE(faults.find("point 4: x nan"), std::string::npos) << faults;
}

/// A chain of nodes as deep as the file is long, and one that refers to each node eight times.
TEST(Check, EndsSoonInHostileTrees) {
    for (const bool is_wide : {false, true}) {
        std::string bytes = Bytes({kPoints, false});
        std::int64_t child = 0;
        for (int i = 0; i < 3000; ++i) {
            const auto at = static_cast<std::int64_t>(bytes.size());
            const int children = i == 0 ? 0 : is_wide ? 8 : 1;
            bytes.append(36, '\0') += static_cast<char>((1 << children) - 1);
            for (int c = 0; c < children; ++c)
                bytes.append(reinterpret_cast<const char*>(&child), sizeof child);
            child = at;
        }
        Put(&bytes, 40, 3000.0);
        Put(&bytes, 48, child);
        const std::string faults = FaultsOf(bytes);
        EXPECT_NE(faults.find("levels below the root"), std::string::npos);
        EXPECT_EQ(faults.find("another reference") != std::string::npos, is_wide);
    }
}

}  // namespace
