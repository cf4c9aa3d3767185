// ptc check: each fault is found, at its place.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "tools/ptc/inspect/cloud_check.h"

using namespace sound_cloud;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr std::size_t kPoint1 = kDataStart + kRecord;
constexpr std::size_t kRootChildren = kRoot + 37;

/// A fault as `ptc check` shows it: the offset, a colon, the text.
std::vector<std::string> FaultsOf(const std::string& file) {
    std::vector<std::string> faults;
    FaultList list(1000, [&](std::int64_t offset, const std::string& what) {
        faults.push_back(std::to_string(offset) + ": " + what);
    });
    CheckCloud(InputFile(file), list, false);
    return faults;
}

/// Damages the bytes of a sound file.
using Damage = std::function<void(std::string*)>;

template <class T>
Damage Set(std::size_t at, T value) {
    return [=](std::string* bytes) { Put(bytes, at, value); };
}

Damage Cut(std::size_t size) {
    return [=](std::string* bytes) { bytes->resize(size); };
}

std::vector<std::string> FaultsOfBytes(const std::string& bytes) {
    const ScratchFolder folder;
    return FaultsOf(WriteTo(folder.File("a.ptc"), bytes));
}

/// Whether one of the faults is at `place` and says `text`.
bool Tells(const std::vector<std::string>& faults, std::size_t place, const std::string& text) {
    const std::string start = std::to_string(place) + ": ";
    return std::any_of(faults.begin(), faults.end(), [&](const std::string& fault) {
        return fault.starts_with(start) && fault.find(text) != fault.npos;
    });
}

TEST(Check, FindsEachFaultAtItsPlace) {
    const struct {
        Damage damage;
        std::size_t place;
        const char* text;  // part of what is said
    } cases[] = {
        {Set(0, 'x'), 0, "not a point cloud file"},
        {Set(4, 3), 4, "version"},
        {Set(8, std::nan("")), 8, "no count"},
        {Set(8, 2.5), 8, "no count"},
        {Set(32, kNan), 32, "bbox"},
        {Set(20, 100.0f), 20, "above the maximum"},
        {Set(40, 4.0), 40, "leads to 3"},
        {Set(40, 0.0), 48, "without nodes"},
        {Set(48, std::int64_t{0}), 48, "without a root"},
        {Set(48, std::int64_t{kLeafB}), kRoot, "behind the root"},
        {Set(56, kNan), 56, "no radius"},
        {Set(208, HUGE_VALF), 208, "world_to_eye"},
        {Set(324, kNan), 324, "format"},
        {Set(328, -1), 328, "npointvars"},
        {Set(332, 5), 332, "take 4 floats"},
        {Set(336, 'g'), 336, "not known"},
        {Set(363, 2), 363, "treedatasize"},
        {Cut(200), 188, "file ends"},
        // Points.
        {Set(kPoint1 + 4, kNan), kPoint1 + 4, "point 1: y nan"},
        {Set(kDataStart, -0.25f), kDataStart, "outside the box"},
        {Set(kDataStart + 4 * kRecord, 4.25f), kDataStart + 4 * kRecord, "outside the box"},
        {Set(kPoint1 + 16, -1.0f), kPoint1 + 16, "no radius"},
        {Set(56, 0.6f), kDataStart + 3 * kRecord + 16, "largest"},
        {Set(kPoint1 + 24, HUGE_VALF), kPoint1 + 24, "data value 1"},
        {Cut(kPoint1 + 30), kPoint1, "within point 1 of 5"},
        {Cut(kPoint1), kPoint1, "1 of 5 points"},
        // Nodes.
        {Set(kLeafA, -1), kLeafA, "first point -1"},
        {Set(kLeafB + 4, 4), kLeafB + 4, "4 points from 2"},
        {Set(kRoot, 1), kLeafA, "not all its parent's"},
        {Set(kLeafA + 8, kNan), kLeafA + 8, "box value 0"},
        {Set(kLeafA + 8, 1.75f), kLeafA + 8, "above the maximum"},
        {Set(kLeafB + 24, 9.0f), kLeafB + 24, "outside its parent's"},
        {Set(kLeafA + 20, 0.5f), kLeafA + 8, "point 1 lies outside"},
        {Set(kLeafA + 32, kNan), kLeafA + 32, "data value 0"},
        {Set(kLeafA + 36, '\1'), kLeafB, "reference to"},
        {Set(kRoot + 36, '\2'), kRootChildren + 8, "behind the root"},
        {Set(kRootChildren, std::int64_t{kRoot}), kRootChildren, "not before"},
        {Set(kRootChildren, std::int64_t{1} << 40), kRootChildren, "outside"},
        {Set(kRootChildren + 8, std::int64_t{kLeafA}), kRootChildren + 8, "another reference"},
        {Cut(kEnd - 1), kRoot, "cut off"},
    };
    for (const auto& [damage, place, text] : cases) {
        std::string bytes = Bytes();
        damage(&bytes);
        const auto faults = FaultsOfBytes(bytes);
        EXPECT_TRUE(Tells(faults, place, text))
            << place << ": " << text << testing::PrintToString(faults);
    }
}

/// The place of a text's fault is its line's.
TEST(Check, FindsFaultsInTextAtTheirLines) {
    const struct {
        std::string from, to;
        const char* text;
    } cases[] = {
        {"rootpos", "rottpos", "rootpos"},
        {"nnodes                3", "nnodes                4", "leads to 3"},
        {" 2.000000e+00 4.", "          nan 4.", "x nan"},
        {" 2.000000e+00 4.", " 2,000000e+00 4.", "malformed"},
        {"firstpoint 2", "firstpoint 9", "first point 9"},
    };
    for (const auto& [from, to, text] : cases) {
        std::string bytes = Bytes({kPoints, true, TokenForm::kText});
        const std::size_t at = bytes.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        bytes.replace(at, from.size(), to);
        const auto faults = FaultsOfBytes(bytes);
        EXPECT_TRUE(Tells(faults, bytes.rfind('\n', at) + 1, text))
            << text << testing::PrintToString(faults);
    }
}

TEST(Check, FindsNothingInSoundFiles) {
    for (const auto form : {TokenForm::kBinary, TokenForm::kText})
        for (const std::size_t points : {std::size_t{0}, kPoints})
            EXPECT_EQ(FaultsOfBytes(Bytes({points, points > 0, form})), std::vector<std::string>());
}

TEST(Check, TellsOfBytesAmongTheNodes) {
    std::string bytes = Bytes().insert(kLeafA, 8, 'x');
    Put(&bytes, 48, std::int64_t{kRoot + 8});
    Put(&bytes, kRootChildren + 8, std::int64_t{kLeafA + 8});
    Put(&bytes, kRootChildren + 16, std::int64_t{kLeafB + 8});
    EXPECT_TRUE(Tells(FaultsOfBytes(bytes), kLeafA, "8 bytes among the nodes"));
}

TEST(Check, TellsWhatALaggingHeaderLeavesUncounted) {
    std::string bytes = Bytes({kPoints, false});
    Put(&bytes, 8, 2.0);
    EXPECT_EQ(FaultsOfBytes(bytes + "tail"),
              std::vector<std::string>{
                  std::to_string(kDataStart + 2 * kRecord) +
                  ": 112 bytes behind the last point, room for 3 more than npoints"});
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
        const std::string faults = testing::PrintToString(FaultsOfBytes(bytes));
        EXPECT_NE(faults.find("levels below the root"), std::string::npos);
        EXPECT_EQ(faults.find("another reference") != std::string::npos, is_wide);
    }
}

}  // namespace
