// ptc organize and ptc merge as a user runs them.

#include <cmath>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/tools/run_tool.h"

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

}  // namespace
