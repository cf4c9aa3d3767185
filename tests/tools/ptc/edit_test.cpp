// ptc find and ptc edit as a user runs them.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "driver/simplify.h"
#include "ptc/format/normal_decode.h"
#include "tests/support/cloud_file.h"
#include "tests/support/cloud_forms.h"
#include "tests/support/plain_simplify.h"
#include "tests/tools/run_tool.h"
#include "tools/ptc/edit/point_transform.h"

using namespace sound_cloud;

namespace {

TEST(PtcEdit, ReportsAreThoseOfTheTranscript) {
    const ToolFolder folder;
    std::string cut = Bytes({.has_nodes = false});
    cut.resize(kDataStart + 3 * kRecord + 1);
    folder.Write("qv.ptc", Bytes());
    folder.Write("flat.ptc", Bytes({.has_nodes = false}));
    folder.Write("many.ptc", Bytes({.points = 100, .has_nodes = false}));
    folder.Write("text.ptc", Bytes({.form = TokenForm::kText}));
    folder.Write("qv.ptc.gz", gzip_bytes::Whole(Bytes({.has_nodes = false})));
    folder.Write("cut.ptc", cut);
    folder.Write("out.ptc", "an older file");
    const auto before = folder.Names();
    folder.ExpectTranscript("ptc_edit.txt", [&] { EXPECT_EQ(folder.Names(), before); });
}

TEST(PtcEdit, NothingToDoGivesTheSameBytesInEveryForm) {
    const ToolFolder folder;
    for (const CloudForm& form : AllForms(300)) {
        SCOPED_TRACE(form.name);
        folder.Write("a.ptc", form.bytes);
        for (const char* const options : {"", "--transform 1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1"}) {
            const ToolRun run = folder.Run(std::string("edit a.ptc -o b.ptc ") + options);
            EXPECT_EQ(run.status, 0) << run.err;
            EXPECT_EQ(run.err, "");
            EXPECT_EQ(folder.Content("b.ptc"), form.bytes);
        }
        // An edit that happens to change nothing goes through the writer.
        if (!form.is_plain_binary) continue;
        for (const char* const options :
             {"--where 'x == x'", "--set number=number --set nx=nx", "--every 1 --limit 300"}) {
            EXPECT_EQ(folder.Run(std::string("edit a.ptc -o a.ptc ") + options).status, 0);
            EXPECT_EQ(folder.Content("a.ptc"), form.bytes) << options;
        }
    }
}

/// A point of the cloud of clumps.
struct PlainPoint {
    PlainPoint(const CloudFile& cloud, std::size_t index) {
        const auto value = [&](std::size_t field) {
            return static_cast<double>(cloud.PointValue(index, field));
        };
        for (std::size_t axis = 0; axis < 3; ++axis) position[axis] = value(axis);
        radius = value(4);
        for (std::size_t i = 0; i < 4; ++i) data[i] = value(5 + i);
    }
    std::array<double, 3> position{};
    double radius;
    std::array<double, 4> data{};  ///< glow and number
};

constexpr std::size_t kClumpPoints = 9000;  // several pieces

TEST(PtcEdit, PointsThatStayAreThoseOfAPlainLoop) {
    const struct {
        const char* options;
        std::function<bool(const PlainPoint&)> stays;
        std::size_t every = 1;
        std::size_t limit = SIZE_MAX;
    } kCases[] = {
        {"--every 7", [](const PlainPoint&) { return true; }, 7},
        {"--limit 8000", [](const PlainPoint&) { return true; }, 1, 8000},
        {"--where 'x > y and glow.g < 0.5'",
         [](const PlainPoint& p) { return p.position[0] > p.position[1] && p.data[1] < 0.5; }},
        {"--box 0,-1,2,7.5,5,1e9",
         [](const PlainPoint& p) {
             const auto [x, y, z] = p.position;
             return x >= 0 && x <= 7.5 && y >= -1 && y <= 5 && z >= 2;
         }},
        {"--sphere 1,2,3,4 --where 'number / 100 > radius'",
         [](const PlainPoint& p) {
             const auto [x, y, z] = p.position;
             return (x - 1) * (x - 1) + (y - 2) * (y - 2) + (z - 3) * (z - 3) <= 16 &&
                    p.data[3] / 100 > p.radius;
         }},
        {"--limit 40 --every 3 --where 'x > 4'",
         [](const PlainPoint& p) { return p.position[0] > 4; }, 3, 40},
    };
    const ToolFolder folder;
    const CloudFile cloud{BytesOf({kClumpPoints, false})};
    folder.Write("a.ptc", cloud.bytes);
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.options);
        std::string expected;
        std::size_t passed = 0, kept = 0;
        for (std::size_t i = 0; i < kClumpPoints; ++i) {
            if (!row.stays(PlainPoint(cloud, i)) || passed++ % row.every != 0) continue;
            if (kept++ < row.limit) expected += cloud.PointBytes(i);
        }
        const ToolRun run = folder.Run(std::string("edit a.ptc -o b.ptc ") + row.options);
        ASSERT_EQ(run.status, 0) << run.err;
        const CloudFile out{folder.Content("b.ptc")};
        EXPECT_TRUE(out.bytes.substr(cloud.DataStart()) == expected);
        EXPECT_GT(out.PointCount(), 0);
        EXPECT_LT(out.PointCount(), kClumpPoints);
        EXPECT_EQ(folder.Run("check b.ptc").status, 0);
    }
}

TEST(PtcEdit, ValuesAreThoseOfAPlainLoop) {
    const ToolFolder folder;
    const CloudFile cloud{BytesOf({kClumpPoints, false})};
    folder.Write("a.ptc", cloud.bytes);
    const ToolRun run = folder.Run(
        "edit a.ptc -o b.ptc --set 'glow = glow.g / (1 + glow)' --add 'color lit = glow * number' "
        "--set x=-y --set 'radius = max(radius, lit.b) / 2' --add 'float up = x > 0 and nz > 2' "
        "--drop number");
    ASSERT_EQ(run.status, 0) << run.err;
    const CloudFile out{folder.Content("b.ptc")};
    ASSERT_EQ(out.Declarations(),
              (std::vector<std::string>{"color glow", "color lit", "float up"}));
    ASSERT_EQ(out.RecordsInFile(), kClumpPoints);
    for (std::size_t i = 0; i < kClumpPoints; ++i) {
        SCOPED_TRACE(i);
        const PlainPoint p(cloud, i);
        for (std::size_t k = 0; k < 3; ++k) {
            const auto glow = static_cast<float>(p.data[1] / (1 + p.data[k]));
            const auto lit = static_cast<float>(static_cast<double>(glow) * p.data[3]);
            ASSERT_EQ(out.PointValue(i, 5 + k), glow);
            ASSERT_EQ(out.PointValue(i, 8 + k), lit);
            if (k < 2) continue;
            const double radius = std::max(p.radius, static_cast<double>(lit)) / 2;
            ASSERT_EQ(out.PointValue(i, 4), static_cast<float>(radius));
        }
        ASSERT_EQ(out.PointValue(i, 0), static_cast<float>(-p.position[1]));
        ASSERT_EQ(out.PointValue(i, 11), 0);
        ASSERT_EQ(out.PointBytes(i).substr(4, 12), cloud.PointBytes(i).substr(4, 12));
    }
}

using Matrix = edit::PointTransform::Matrix;

std::string TextOf(const Matrix& matrix) {
    std::string text;
    for (const double value : matrix) text += fmt::format("{},", value);
    text.pop_back();
    return text;
}

/// The normal of a record, decoded.
std::array<float, 3> NormalOf(const CloudFile& cloud, std::size_t i) {
    std::array<float, 3> normal;
    NormalCode code;
    std::memcpy(&code, cloud.PointBytes(i).data() + 12, sizeof code);
    Normals().Decode(code, normal.data());
    return normal;
}

/// `p` x the matrix that the header has at `offset`.
std::array<double, 4> InPicture(const CloudFile& cloud, std::size_t i, std::size_t offset) {
    std::array<double, 4> place{};
    for (std::size_t column = 0; column < 4; ++column)
        for (std::size_t row = 0; row < 4; ++row)
            place[column] += (row < 3 ? static_cast<double>(cloud.PointValue(i, row)) : 1) *
                             static_cast<double>(cloud.At<float>(offset + 16 * row + 4 * column));
    return place;
}

constexpr std::size_t kEye = 188, kNdc = 252;  // the camera's matrices in a file

struct MatrixCase {
    Matrix there, back;
    double scale;  ///< of the radii
    bool turns;
};

/// Two codes of a height near the pole are 0.006 apart.
constexpr double kCodeSteps = 0.012;

/// Point `i` of `cloud`, as `row` moves it, and as it comes back.
void ExpectMoved(const MatrixCase& row, const CloudFile& cloud, const CloudFile& moved,
                 const CloudFile& back, std::size_t i) {
    for (const std::size_t camera : {kEye, kNdc})
        for (std::size_t k = 0; k < 4; ++k)
            ASSERT_NEAR(InPicture(moved, i, camera)[k], InPicture(cloud, i, camera)[k], 1e-3);
    for (std::size_t k = 0; k < 3; ++k) {
        double expected = row.there[12 + k], turned = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            expected += static_cast<double>(cloud.PointValue(i, j)) * row.there[4 * j + k];
            turned += static_cast<double>(NormalOf(cloud, i)[j]) * row.back[4 * k + j];
        }
        ASSERT_EQ(moved.PointValue(i, k), static_cast<float>(expected));
        ASSERT_NEAR(back.PointValue(i, k), cloud.PointValue(i, k), 1e-4);
        ASSERT_NEAR(NormalOf(back, i)[k], NormalOf(cloud, i)[k], kCodeSteps);
        // Along the turned one; its length is that of the code.
        ASSERT_GE(static_cast<double>(NormalOf(moved, i)[k]) * turned, -kCodeSteps);
    }
    ASSERT_FLOAT_EQ(moved.PointValue(i, 4), cloud.PointValue(i, 4) * static_cast<float>(row.scale));
    ASSERT_FLOAT_EQ(back.PointValue(i, 4), cloud.PointValue(i, 4));
    if (row.turns) return;
    ASSERT_EQ(moved.PointBytes(i).substr(12, 4), cloud.PointBytes(i).substr(12, 4));
}

/// The camera sees the same picture, and the inverse brings everything back.
TEST(PtcEdit, TransformMovesTheCameraTooAndItsInverseUndoesIt) {
    const MatrixCase kCases[] = {
        {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 3, -4, 5, 1},
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -3, 4, -5, 1},
         1,
         false},
        {{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 1, 0, 0, 1},
         {.5, 0, 0, 0, 0, .5, 0, 0, 0, 0, .5, 0, -.5, 0, 0, 1},
         2,
         false},
        {{0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1},
         {0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, -2, 1, -3, 1},
         1,
         true},
        {{-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 8, 0, 0, 0, 0, 1},
         {-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, .125, 0, 0, 0, 0, 1},
         2,
         true},
        {{1, .5, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
         {1, -.5, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
         1,
         true},
    };
    const ToolFolder folder;
    CloudFile cloud{BytesOf({500, false})};
    for (std::size_t i = 0; i < 16; ++i) {
        Put(&cloud.bytes, kEye + 4 * i, static_cast<float>(i % 5 == 0 ? 2 : i) / 4);
        Put(&cloud.bytes, kNdc + 4 * i, static_cast<float>(i % 5 == 0 ? 3 : 7 - i % 3));
    }
    folder.Write("a.ptc", cloud.bytes);
    for (const auto& row : kCases) {
        SCOPED_TRACE(TextOf(row.there));
        ASSERT_EQ(folder.Run("edit a.ptc -o b.ptc --transform " + TextOf(row.there)).status, 0);
        ASSERT_EQ(folder.Run("edit b.ptc -o c.ptc --transform " + TextOf(row.back)).status, 0);
        const CloudFile moved{folder.Content("b.ptc")}, back{folder.Content("c.ptc")};
        for (std::size_t i = 0; i < 500; ++i) ExpectMoved(row, cloud, moved, back, i);
        EXPECT_EQ(folder.Run("check b.ptc c.ptc").status, 0);
    }
}

/// Everything of a record but its normal.
std::string WithoutCodes(std::string record) {
    return record.erase(12, 4);
}

/// The points that are left of every buffer are those of the plain simplifier; those without a
/// radius pass.
TEST(PtcEdit, ThinningAgreesWithThePlainSimplifier) {
    const ToolFolder folder;
    const CloudFile cloud{BytesOf({kClumpPoints, false})};
    folder.Write("a.ptc", cloud.bytes);
    constexpr std::size_t kBuffer = 2000;
    const ToolRun run = folder.Run(
        "edit a.ptc -o b.ptc --rename number=area --thin --max-dist 0.1 --min-dot 0.7 "
        "--max-diff 0.25 --buffer-size 2000");
    ASSERT_EQ(run.status, 0) << run.err;

    const SimplifySettings settings{0.1f, 0.7f, 0.25f, false, {0, 0, 0, 1}};
    std::vector<std::string> expected;
    std::vector<std::array<float, 4>> rows;
    std::vector<PointRecord> records;
    const auto flush = [&] {
        for (std::size_t i = 0; i < rows.size(); ++i) records[i].data = rows[i].data();
        std::vector<std::uint8_t> removed(records.size());
        plain_simplify::Run(records, removed, settings, Projection());
        for (std::size_t i = 0; i < records.size(); ++i) {
            if (removed[i]) continue;
            std::string& bytes = expected.emplace_back(32, '\0');
            std::memcpy(bytes.data(), records[i].head.position, 12);
            std::memcpy(&bytes[12], &records[i].head.radius, 4);
            std::memcpy(&bytes[16], records[i].data, 16);
        }
        records.clear();
        rows.clear();
    };
    for (std::size_t i = 0; i < kClumpPoints; ++i) {
        const std::string record(cloud.PointBytes(i));
        if (!(cloud.PointValue(i, 4) > 0)) {
            expected.push_back(WithoutCodes(record));
            continue;
        }
        PointHead head{};
        std::memcpy(head.position, record.data(), 12);
        head.radius = cloud.PointValue(i, 4);
        std::copy_n(NormalOf(cloud, i).begin(), 3, head.normal);
        std::memcpy(rows.emplace_back().data(), record.data() + 20, 16);
        records.push_back({head, nullptr});
        if (records.size() == kBuffer) flush();
    }
    flush();

    const CloudFile out{folder.Content("b.ptc")};
    std::vector<std::string> left;
    for (std::size_t i = 0; i < out.RecordsInFile(); ++i)
        left.push_back(WithoutCodes(std::string(out.PointBytes(i))));
    EXPECT_LT(left.size(), kClumpPoints * 9 / 10);
    std::sort(expected.begin(), expected.end());
    std::sort(left.begin(), left.end());
    EXPECT_TRUE(left == expected) << left.size() << " and not " << expected.size();
    EXPECT_EQ(folder.Run("check b.ptc").status, 0);
}

TEST(PtcEditCubeRoot, IsThatOfTheRealNumbers) {
    for (const double root : {1e-100, 1e-7, 0.5, 1.0, 1.1, 3.0, 1e5, 7e99}) {
        const double value = edit::CubeRoot(root * root * root);
        EXPECT_NEAR(value / root, 1, 4e-16) << root;
    }
}

}  // namespace
