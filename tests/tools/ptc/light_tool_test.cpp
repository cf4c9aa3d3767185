// ptc light as a user runs it, in rooms whose light is known.

#include <array>
#include <cmath>
#include <limits>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/tools/run_tool.h"

namespace {

/// Points of "color glow" and "color albedo" on the inside of a cube from -1 to 1.
class Room {
public:
    static constexpr int kSide = 12;
    static constexpr std::size_t kPoints = 6 * kSide * kSide;
    static constexpr float kGlow = 0.75f;

    explicit Room(TokenForm form = TokenForm::kBinary) : cloud_(Description(), form) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (const float side : {-1.0f, 1.0f})
                for (int i = 0; i < kSide * kSide; ++i) AddWallPoint(axis, side, i);
    }

    void Add(const PointHead& head, const std::array<float, 6>& data) {
        cloud_.Add(head, data.data());
    }

    std::string Bytes() const { return cloud_.Finished(); }

private:
    static CloudDescription Description() {
        static const char* const types[] = {"color", "color"};
        static const char* const names[] = {"glow", "albedo"};
        CloudDescription description{};
        description.point_variables = {2, types, names};
        return description;
    }

    void AddWallPoint(std::size_t axis, float side, int i) {
        constexpr float kStep = 2.0f / kSide;
        PointHead head{};
        head.position[axis] = side;
        head.position[(axis + 1) % 3] = (static_cast<float>(i % kSide) + 0.5f) * kStep - 1;
        head.position[(axis + 2) % 3] = (static_cast<float>(i / kSide) + 0.5f) * kStep - 1;
        head.normal[axis] = -side;
        head.radius = 0.71f * kStep;
        Add(head, {kGlow, kGlow, kGlow, 0.5f, 0.25f, 0});
    }

    MemoryCloud cloud_;
};

/// The mean of data float `field` over all points of a binary cloud.
double MeanOf(const std::string& bytes, std::size_t field) {
    const CloudFile cloud{bytes};
    double sum = 0;
    for (std::size_t i = 0; i < cloud.RecordsInFile(); ++i)
        sum += double{cloud.PointValue(i, 5 + field)};
    return sum / static_cast<double>(cloud.RecordsInFile());
}

std::string Lit(const ToolFolder& folder, const std::string& arguments) {
    const ToolRun run = folder.Run("light " + arguments + " -o lit.ptc");
    EXPECT_EQ(run.status, 0) << arguments << "\n" << run.err;
    return folder.Content("lit.ptc");
}

/// In a closed room all directions have the same colour, and each bounce the albedo times the one
/// before: the sum is a geometric series.
TEST(PtcLight, BouncesInAClosedRoomAreAGeometricSeries) {
    const ToolFolder folder;
    folder.Write("room.ptc", Room().Bytes());
    const struct {
        const char* options;
        double red, green, blue;  ///< of the indirect light, in parts of the glow
    } rows[] = {
        {"", 1, 1, 1},
        {"--bounces 1", 1, 1, 1},
        {"--bounces 2 --albedo-channel albedo", 1.5, 1.25, 1},
        {"--bounces 3 --albedo-of-points 0.5,1,0", 1.75, 3, 1},
        {"--bounces 8 --albedo-channel albedo", 1.992, 1.333, 1},
        {"--bounces 9 --albedo-channel albedo --occlusion --subsurface", 1.996, 1.333, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.options);
        const std::string lit =
            Lit(folder, "room.ptc --indirect --quality coarse " + std::string(row.options));
        const std::size_t first = CloudFile{lit}.Declarations()[2] == "float _occlusion" ? 7 : 6;
        const double wanted[] = {row.red, row.green, row.blue};
        for (std::size_t colour = 0; colour < 3; ++colour)
            EXPECT_NEAR(MeanOf(lit, first + colour), double{Room::kGlow} * wanted[colour], 0.04)
                << colour;
        if (first == 7) {
            EXPECT_GT(MeanOf(lit, 6), 0.95);
            EXPECT_GT(MeanOf(lit, 10), 0.01);
        }
    }
}

TEST(PtcLight, ThreadsCachesAndFormsDoNotChangeValues) {
    const ToolFolder folder;
    folder.Write("room.ptc", Room().Bytes());
    folder.Write("room.txt", Room(TokenForm::kText).Bytes());
    folder.Shell(
        "gzip -k room.ptc && ptc organize room.ptc -o tree.ptc --light && "
        "ptc convert room.txt coded.ptc");
    const std::string options =
        " --occlusion --indirect --subsurface --bounces 2 --albedo-of-points 0.5,0.5,0.5";
    const std::string wanted = Lit(folder, "room.ptc --threads 1" + options);
    EXPECT_EQ(CloudFile{wanted}.RecordsInFile(), Room::kPoints);
    EXPECT_TRUE(Lit(folder, "room.ptc --threads 5 --memory 1" + options) == wanted);
    EXPECT_TRUE(Lit(folder, "room.ptc.gz --threads 2" + options) == wanted);
    EXPECT_TRUE(Lit(folder, "room.txt" + options) == Lit(folder, "coded.ptc" + options));
    // Out of the octree that is there, onto the points in their own order.
    EXPECT_TRUE(Lit(folder, "tree.ptc --onto room.ptc --occlusion --indirect --subsurface") ==
                Lit(folder, "room.ptc --occlusion --indirect --subsurface"));
    folder.Shell("cat room.ptc | ptc light - -o - --threads 3" + options + " >piped.ptc");
    EXPECT_TRUE(folder.Content("piped.ptc") == wanted);
    folder.Shell("ptc light room.ptc.gz -o lit.ptc.gz" + options +
                 " && gzip -dc lit.ptc.gz >raw.ptc");
    EXPECT_TRUE(folder.Content("raw.ptc") == wanted);
}

/// Points in the middle of the room that have no area, and so change nothing for others.
TEST(PtcLight, OddPointsGetNothingAndSpreadNothing) {
    const ToolFolder folder;
    const float nan = std::nanf(""), infinity = std::numeric_limits<float>::infinity();
    const std::array<float, 6> sound = {1, 1, 1, 0.5f, 0.5f, 0.5f};
    Room room;
    room.Add({{0, 0, 0}, {0, 0, 0}, 0}, sound);
    room.Add({{nan, 0, 0}, {0, 0, 1}, 0.1f}, sound);
    room.Add({{0, -infinity, 0}, {0, 0, 1}, 0.1f}, sound);
    room.Add({{0, 0, 0.1f}, {0, 0, 1}, nan}, sound);
    room.Add({{0, 0, 0.2f}, {0, 1, 0}, 0}, sound);
    room.Add({{0, 0, 0.3f}, {0, 1, 0}, 0}, {nan, infinity, -infinity, nan, -1, 2});
    folder.Write("room.ptc", room.Bytes());
    const ToolRun run = folder.Run(
        "light room.ptc -o lit.ptc --occlusion --indirect --subsurface --bounces 3 "
        "--albedo-channel albedo");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("for 870 points, 0 for 3 of them without a normal or a finite position"),
              std::string::npos)
        << run.out;
    const CloudFile lit{folder.Content("lit.ptc")}, from{folder.Content("room.ptc")};
    for (std::size_t i = 0; i < Room::kPoints + 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(lit.PointBytes(i).substr(0, from.Record()), from.PointBytes(i));
        const bool is_dark = i >= Room::kPoints && i < Room::kPoints + 3;
        for (std::size_t field = 11; field < 18; ++field) {
            ASSERT_TRUE(std::isfinite(lit.PointValue(i, field))) << field;
            EXPECT_TRUE(!is_dark || lit.PointValue(i, field) == 0) << field;
        }
        EXPECT_NEAR(lit.PointValue(i, 12), is_dark ? 0 : 1.75f * Room::kGlow, 0.2f);
    }
}

/// A place above the room sees the back of its roof, which hides and is black unless only fronts
/// hide; one within it sees it all.
TEST(PtcLight, LightOfAllCloudsGoesOntoAnother) {
    const ToolFolder folder;
    folder.Write("room.ptc", Room().Bytes());
    folder.Write("onto.csv",
                 "x,y,z,nx,ny,nz,radius,_indirect_r,_indirect_g,_indirect_b\n"
                 "0,0,0,0,0,1,1,9,9,9\n0,0,1.5,0,0,-1,1,9,9,9\n0,0,1.5,0,0,1,1,9,9,9\n");
    folder.Shell(
        "ptc edit room.ptc -o left.ptc --where 'x < 0' && "
        "ptc edit room.ptc -o right.ptc --where 'x > 0' && ptc convert onto.csv onto.ptc");
    for (const char* const from : {"room.ptc", "left.ptc right.ptc"}) {
        SCOPED_TRACE(from);
        const CloudFile lit{Lit(folder, std::string(from) + " --onto onto.ptc --sides both")};
        EXPECT_EQ(lit.Declarations(),
                  (std::vector<std::string>{"color _indirect", "float _occlusion"}));
        EXPECT_NEAR(lit.PointValue(0, 5), Room::kGlow, 0.03f);
        EXPECT_NEAR(lit.PointValue(0, 8), 1, 0.03f);
        EXPECT_LT(lit.PointValue(1, 5), 0.1f);
        EXPECT_GT(lit.PointValue(1, 8), 0.8f);
        EXPECT_EQ(lit.PointValue(2, 5), 0);
        EXPECT_EQ(lit.PointValue(2, 8), 0);
        const CloudFile open{Lit(folder, std::string(from) + " --onto onto.ptc --sides front")};
        EXPECT_GT(open.PointValue(1, 5), 0.3f);
    }
}

/// A cloud whose channels are there already, with nodes that are not made of them.
std::string LitTree() {
    const char* const types[] = {"float"};
    const char* const names[] = {"_occlusion"};
    const float ndc[] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0};
    const MemoryCloud made({nullptr, {1, types, names}, {}, nullptr, ndc, {640, 480, 1}});
    const float old = 7;
    made.Add({{0, 0, 0}, {0, 0, 1}, 0.5f}, &old);
    made.Add({{0, 0, 1}, {0, 0, -1}, 0.5f}, &old);
    made.AddNode({0, 2, {-0.5f, -0.5f, -0.5f, 0.5f, 0.5f, 1.5f}, nullptr});
    return made.Finished();
}

TEST(PtcLight, ReportsAreThoseOfTheTranscript) {
    const ToolFolder folder;
    folder.Write("room.ptc", Room().Bytes());
    folder.Write("tree.ptc", LitTree());
    folder.Write("wrong.csv", "x,y,z,_indirect\n0,0,0,1\n");
    folder.Convert("wrong.csv wrong.ptc --radius 0.5");
    folder.Write("empty.ptc", sound_cloud::Bytes({.points = 0, .has_nodes = false}));
    folder.Write("cut.ptc", sound_cloud::Bytes({.has_nodes = false}).substr(0, 500));
    folder.Write("out.ptc", "");
    const auto before = folder.Names();
    folder.ExpectTranscript("ptc_light.txt", [&] { EXPECT_EQ(folder.Names(), before); });
}

}  // namespace
