// ptc check: each fault is found, at its place.

#include <cmath>
#include <functional>
#include <limits>

#include "tests/tools/ptc/sound_cloud.h"

using namespace sound_cloud;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// Damages the bytes of a sound file.
using Damage = std::function<void(std::string*)>;

template <class T>
Damage Set(std::size_t at, T value) {
    return [=](std::string* bytes) { Put(bytes, at, value); };
}

Damage Replace(std::string from, std::string to) {
    return [=](std::string* bytes) {
        const std::size_t at = bytes->find(from);
        ASSERT_NE(at, std::string::npos) << from;
        bytes->replace(at, from.size(), to);
    };
}

struct FaultCase {
    const char* name;
    Damage damage;
    std::size_t place;
    const char* text;  ///< part of what is said
};

std::string NameOf(const testing::TestParamInfo<FaultCase>& tested) {
    return tested.param.name;
}

void ExpectFault(const FaultCase& tested, std::string bytes) {
    tested.damage(&bytes);
    const ScratchFolder folder;
    const auto faults = FaultsOf(WriteTo(folder.File("damaged.ptc"), bytes));
    const std::string start = std::to_string(tested.place) + ": ";
    for (const std::string& fault : faults)
        if (fault.starts_with(start) && fault.find(tested.text) != fault.npos) return;
    ADD_FAILURE() << "not found: " << start << tested.text << "\n"
                  << testing::PrintToString(faults);
}

class CheckFinds : public testing::TestWithParam<FaultCase> {};

TEST_P(CheckFinds, TheFaultAtItsPlace) {
    ExpectFault(GetParam(), Bytes());
}

constexpr std::size_t kPoint1 = kDataStart + kRecord;
constexpr std::size_t kRootChildren = kRoot + 37;

INSTANTIATE_TEST_SUITE_P(
    Header, CheckFinds,
    testing::Values(
        FaultCase{"Type", Set(0, 'x'), 0, "not a point cloud file"},
        FaultCase{"Version", Set(4, 3), 4, "version"},
        FaultCase{"CountIsNaN", Set(8, std::nan("")), 8, "no count"},
        FaultCase{"CountIsNegative", Set(8, -1.0), 8, "no count"},
        FaultCase{"CountIsHalf", Set(8, 2.5), 8, "no count"},
        FaultCase{"BoxIsNaN", Set(32, kNan), 32, "bbox"},
        FaultCase{"BoxIsEmpty", Set(20, 100.0f), 20, "above the maximum"},
        FaultCase{"NodesMissing", Set(40, 4.0), 40, "leads to 3"},
        FaultCase{"RootWithoutNodes", Set(40, 0.0), 48, "without nodes"},
        FaultCase{"NodesWithoutRoot", Set(48, std::int64_t{0}), 48, "without a root"},
        FaultCase{"RootOutside", Set(48, std::int64_t{5}), 48, "outside"},
        FaultCase{"RootIsNotLast", Set(48, std::int64_t{kLeafB}), kRoot, "behind the root"},
        FaultCase{"LargestRadius", Set(56, kNan), 56, "no radius"},
        FaultCase{"Matrix", Set(208, HUGE_VALF), 208, "world_to_eye"},
        FaultCase{"Format", Set(324, kNan), 324, "format"},
        FaultCase{"TooManyVariables", Set(328, 1001), 328, "npointvars"},
        FaultCase{"NegativeVariables", Set(328, -1), 328, "npointvars"},
        FaultCase{"PointDataSize", Set(332, 5), 332, "take 4 floats"},
        FaultCase{"UnknownType", Set(336, 'g'), 336, "not known"},
        FaultCase{"NoFloats", Replace("float _area", "float[0] ea"), 336, "no floats"},
        FaultCase{"TreeDataSize", Set(363, 2), 363, "treedatasize"},
        FaultCase{"EndsInHeader", [](std::string* b) { b->resize(200); }, 188, "file ends"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Points, CheckFinds,
    testing::Values(
        FaultCase{"PositionIsNaN", Set(kPoint1 + 4, kNan), kPoint1 + 4, "point 1: y nan"},
        FaultCase{"PositionOutside", Set(kDataStart, -0.25f), kDataStart, "outside the box"},
        FaultCase{"RadiusReachesOut", Set(kDataStart + 16, 0.7f), kDataStart, "outside the box"},
        FaultCase{"RadiusIsNegative", Set(kPoint1 + 16, -1.0f), kPoint1 + 16, "no radius"},
        FaultCase{"RadiusAboveLargest", Set(56, 0.6f), kDataStart + 3 * kRecord + 16, "largest"},
        FaultCase{"DataIsInfinite", Set(kPoint1 + 24, HUGE_VALF), kPoint1 + 24, "data value 1"},
        FaultCase{"CutWithinPoint", [](std::string* b) { b->resize(kPoint1 + 30); }, kPoint1,
                  "within point 1 of 5"},
        FaultCase{"CutBetweenPoints", [](std::string* b) { b->resize(kPoint1); }, kPoint1,
                  "1 of 5 points"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Nodes, CheckFinds,
    testing::Values(
        FaultCase{"FirstPoint", Set(kLeafA, -1), kLeafA, "first point -1"},
        FaultCase{"PointCount", Set(kLeafB + 4, 4), kLeafB + 4, "4 points from 2"},
        FaultCase{"NotTheParents", Set(kRoot, 1), kLeafA, "not all its parent's"},
        FaultCase{"BoxIsNaN", Set(kLeafA + 8, kNan), kLeafA + 8, "box value 0"},
        FaultCase{"BoxIsTurned", Set(kLeafA + 8, 1.75f), kLeafA + 8, "above the maximum"},
        FaultCase{"BoxOutside", Set(kLeafB + 24, 9.0f), kLeafB + 24, "outside its parent's"},
        FaultCase{"PointOutside", Set(kLeafA + 20, 0.5f), kLeafA + 8, "point 1 lies outside"},
        FaultCase{"Data", Set(kLeafA + 32, kNan), kLeafA + 32, "data value 0"},
        FaultCase{"FoundChild", Set(kLeafA + 36, '\1'), kLeafB, "reference to"},
        FaultCase{"LostChild", Set(kRoot + 36, '\2'), kRootChildren + 8, "behind the root"},
        FaultCase{"Circle", Set(kRootChildren, std::int64_t{kRoot}), kRootChildren, "not before"},
        FaultCase{"Outside", Set(kRootChildren, std::int64_t{1} << 40), kRootChildren, "outside"},
        FaultCase{"Twice", Set(kRootChildren + 8, std::int64_t{kLeafA}), kRootChildren + 8,
                  "another reference"},
        FaultCase{"NotNeighbours", Set(kRootChildren, std::int64_t{kLeafA - 1}), kRootChildren,
                  "outside"},
        FaultCase{"CutOff", [](std::string* b) { b->resize(kEnd - 1); }, kRoot, "cut off"}),
    NameOf);

TEST(Check, FindsNothingInSoundFiles) {
    const ScratchFolder folder;
    for (const auto form : {TokenForm::kBinary, TokenForm::kText})
        for (const std::size_t points : {std::size_t{0}, kPoints}) {
            const std::string bytes = Bytes({points, points > 0, form});
            EXPECT_EQ(FaultsOf(WriteTo(folder.File("sound.ptc"), bytes)),
                      std::vector<std::string>());
        }
}

TEST(Check, TellsWhatALaggingHeaderLeavesUncounted) {
    std::string bytes = Bytes({kPoints, false});
    Put(&bytes, 8, 2.0);
    bytes += "tail";
    const ScratchFolder folder;
    const auto faults = FaultsOf(WriteTo(folder.File("lagging.ptc"), bytes));
    const std::string place = std::to_string(kDataStart + 2 * kRecord);
    EXPECT_EQ(faults,
              std::vector<std::string>{
                  place + ": 112 bytes behind the last point, room for 3 more than npoints"});
}

/// The place of a text's fault is its line's.
class CheckFindsInText : public testing::TestWithParam<FaultCase> {};

TEST_P(CheckFindsInText, TheFaultAtItsLine) {
    FaultCase tested = GetParam();
    const std::string bytes = Bytes({kPoints, true, TokenForm::kText});
    std::string damaged = bytes;
    tested.damage(&damaged);
    std::size_t differs = 0;
    while (differs < damaged.size() && damaged[differs] == bytes[differs]) ++differs;
    // A cut leaves no line but the one before.
    tested.place = differs == damaged.size() ? differs : bytes.rfind('\n', differs - 1) + 1;
    ExpectFault(tested, bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CheckFindsInText,
    testing::Values(
        FaultCase{"Key", Replace("rootpos", "rottpos"), 0, "rootpos"},
        FaultCase{"Count", Replace("nnodes                3", "nnodes                4"), 0,
                  "leads to 3"},
        FaultCase{"Point", Replace(" 2.000000e+00 4.", "          nan 4."), 0, "x nan"},
        FaultCase{"Malformed", Replace(" 2.000000e+00 4.", " 2,000000e+00 4."), 0, "malformed"},
        FaultCase{"Node", Replace("firstpoint 2", "firstpoint 9"), 0, "first point 9"}),
    NameOf);

/// A chain of nodes as deep as the file is long, and one that refers to each node eight times.
TEST(Check, EndsSoonInHostileTrees) {
    for (const bool is_wide : {false, true}) {
        std::string bytes = Bytes({kPoints, false});
        std::int64_t at = static_cast<std::int64_t>(bytes.size());
        std::int64_t child = 0;
        for (int i = 0; i < 3000; ++i) {
            const unsigned char mask = i == 0 ? 0 : is_wide ? 0xFF : 1;
            std::string node(36, '\0');
            node += static_cast<char>(mask);
            for (int c = 0; c < 8; ++c)
                if (mask >> c & 1) node.append(reinterpret_cast<const char*>(&child), 8);
            child = at;
            bytes += node;
            at += static_cast<std::int64_t>(node.size());
        }
        Put(&bytes, 40, 3000.0);
        Put(&bytes, 48, child);
        const ScratchFolder folder;
        const auto faults = FaultsOf(WriteTo(folder.File("deep.ptc"), bytes));
        const auto says = [&](const char* text) {
            return std::any_of(faults.begin(), faults.end(),
                               [&](const auto& fault) { return fault.find(text) != fault.npos; });
        };
        EXPECT_TRUE(says("levels below the root"));
        EXPECT_EQ(says("another reference"), is_wide);
    }
}

}  // namespace
