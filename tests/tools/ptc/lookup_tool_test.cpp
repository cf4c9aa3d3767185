// ptc query and ptc transfer as a user runs them, against plain loops over printed points.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <tuple>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/tools/run_tool.h"

namespace {

/// The rows of a CSV text, by the names of their columns. Texts that are no numbers are NaN.
struct Table {
    std::map<std::string, std::size_t> columns;
    std::vector<std::vector<std::string>> rows;

    explicit Table(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            std::vector<std::string> cells;
            std::istringstream rest(line);
            for (std::string cell; std::getline(rest, cell, ',');) cells.push_back(cell);
            if (columns.empty()) {
                for (std::size_t i = 0; i < cells.size(); ++i) columns[cells[i]] = i;
            } else {
                rows.push_back(cells);
            }
        }
    }

    const std::string& Text(std::size_t row, const std::string& column) const {
        return rows.at(row).at(columns.at(column));
    }
    float Float(std::size_t row, const std::string& column) const {
        const std::string& text = Text(row, column);
        float value = std::nanf("");
        std::from_chars(text.data(), text.data() + text.size(), value);
        return value;
    }
};

/// A point of one of several clouds, in the order of answers.
struct Found {
    float squared;
    std::size_t file;
    std::size_t index;
    bool operator<(const Found& other) const {
        return std::tie(squared, file, index) < std::tie(other.squared, other.file, other.index);
    }
};

TEST(PtcQuery, AnswersAreThoseOfAPlainWalk) {
    const ToolFolder folder;
    folder.Write("tree.ptc", BytesOf({3000}));
    folder.Write("flat.ptc", BytesOf({700, false}));
    folder.Write("text.txt", BytesOf({400, false, TokenForm::kText}));
    const std::vector<std::string> files = {"tree.ptc", "flat.ptc", "text.txt"};
    std::vector<Table> clouds;
    for (const std::string& file : files)
        clouds.emplace_back(folder.Run("print --csv " + file).out);
    folder.Shell(
        "ptc print --csv --range 0:250 tree.ptc | sed 's/point,//;s/^[0-9]*,//' >places.csv");
    const Table places(folder.Content("places.csv"));
    ASSERT_EQ(places.rows.size(), 250u);

    const ToolRun run = folder.Run(
        "query tree.ptc flat.ptc text.txt --csv --count 9 --within 1.5 --least-dot 0.9 "
        "--use-normals --at-points places.csv --variables number,normal");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    const Table answers(run.out);
    // Normals of a table go through the codes, as in any cloud.
    folder.Convert("places.csv places.ptc");
    const Table coded(folder.Run("print --csv places.ptc").out);

    std::size_t row = 0;
    for (std::size_t place = 0; place < places.rows.size(); ++place) {
        std::vector<Found> wanted;
        for (std::size_t file = 0; file < files.size(); ++file)
            for (std::size_t i = 0; i < clouds[file].rows.size(); ++i) {
                const auto product = [&](const char* axis) {
                    return coded.Float(place, axis) * clouds[file].Float(i, axis);
                };
                const auto square = [&](const char* axis) {
                    const float d = clouds[file].Float(i, axis) - places.Float(place, axis);
                    return d * d;
                };
                const float squared = (square("x") + square("y")) + square("z");
                const float dot = (product("nx") + product("ny")) + product("nz");
                if (squared <= 2.25f && dot >= 0.9f) wanted.push_back({squared, file, i});
            }
        std::sort(wanted.begin(), wanted.end());
        wanted.resize(std::min<std::size_t>(wanted.size(), 9));
        for (const Found& found : wanted) {
            SCOPED_TRACE(place);
            ASSERT_EQ(answers.Float(row, "place"), static_cast<float>(place));
            EXPECT_EQ(answers.Text(row, "file"), files[found.file]);
            EXPECT_EQ(answers.Text(row, "point"), std::to_string(found.index));
            EXPECT_EQ(answers.Float(row, "distance"), std::sqrt(found.squared));
            for (const char* column : {"number", "nx"})
                EXPECT_EQ(answers.Text(row, column), clouds[found.file].Text(found.index, column));
            ++row;
        }
    }
    EXPECT_EQ(row, answers.rows.size());
    EXPECT_GT(row, 250u);
}

/// Two sheets on top of each other that face away from each other, and points between them.
class PtcTransfer : public testing::Test {
protected:
    static constexpr int kSide = 40;
    static constexpr float kStep = 0.025f;

    void SetUp() override {
        std::string sheets = "x,y,z,nx,ny,nz,radius,level,ramp_x,ramp_y,ramp_z\n";
        for (const int up : {1, -1})
            for (int i = 0; i < kSide * kSide; ++i) {
                const float x = kStep * static_cast<float>(i % kSide);
                const float y = kStep * static_cast<float>(i / kSide);
                Add(&sheets, {x, y, 0.001f * static_cast<float>(up), 0, 0, static_cast<float>(up),
                              0.01f, up > 0 ? 0.3f : -7, x, y, static_cast<float>(up) * (x + y)});
            }
        std::string onto = "x,y,z,nx,ny,nz,radius,own\n";
        for (int i = 0; i < 500; ++i) {
            const auto f = static_cast<float>(i);
            Add(&onto, {0.3f + 0.0008f * f, 0.5f + 0.3f * std::sin(f), 0, 0.1f, 0.1f,
                        i % 2 ? 1.0f : -1.0f, 0.5f, f});
        }
        Add(&onto, {9, 9, 9, 0, 0, 1, 0.5f, 500});
        folder_.Write("sheets.csv", sheets);
        folder_.Write("onto.csv", onto);
        folder_.Convert("sheets.csv sheets.ptc");
        folder_.Convert("onto.csv onto.ptc");
    }

    static void Add(std::string* text, const std::vector<float>& row) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            char room[32];
            *text += i == 0 ? "" : ",";
            text->append(room, std::to_chars(room, room + sizeof room, row[i]).ptr);
        }
        *text += '\n';
    }

    ToolFolder folder_;
};

TEST_F(PtcTransfer, ConstantsAndRampsArriveOnTheSideThatAPointFaces) {
    const ToolRun run = folder_.Run("transfer sheets.ptc --onto onto.ptc -o out.ptc");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out.find("out.ptc: 1 point"), std::string::npos) << run.out;
    const CloudFile from{folder_.Content("onto.ptc")};
    const CloudFile to{folder_.Content("out.ptc")};
    ASSERT_EQ(to.RecordsInFile(), 501u);
    EXPECT_EQ(to.Declarations(),
              (std::vector<std::string>{"float own", "float level", "vector ramp"}));
    for (std::size_t i = 0; i < 501; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(to.PointBytes(i).substr(0, from.Record()), from.PointBytes(i));
        const bool is_far = i == 500;
        EXPECT_EQ(to.PointValue(i, 6), is_far ? 0 : i % 2 ? 0.3f : -7);
        // The weights of a regular grid are not quite even around a place.
        const float x = is_far ? 0 : from.PointValue(i, 0), y = is_far ? 0 : from.PointValue(i, 1);
        EXPECT_NEAR(to.PointValue(i, 7), x, 0.2f * kStep);
        EXPECT_NEAR(to.PointValue(i, 8), y, 0.2f * kStep);
        EXPECT_NEAR(to.PointValue(i, 9), i % 2 ? x + y : -x - y, 0.4f * kStep);
    }
}

/// The same values from text, from several files, onto text and gzip; and over what is there.
TEST_F(PtcTransfer, FormsAndThreadsDoNotChangeValues) {
    folder_.Convert("onto.ptc onto.ptc.gz");
    const auto transfer = [&](const std::string& arguments) {
        const ToolRun run = folder_.Run("transfer " + arguments);
        EXPECT_EQ(run.status, 0) << arguments << "\n" << run.err;
    };
    transfer("sheets.ptc --onto onto.ptc -o out.ptc --threads 1 --filter 0.05");
    const std::string wanted = folder_.Content("out.ptc");
    transfer("sheets.ptc --onto onto.ptc.gz -o - --threads 3 --filter 0.05 >piped.ptc");
    EXPECT_TRUE(folder_.Content("piped.ptc") == wanted);
    transfer("sheets.ptc --onto onto.ptc -o level.csv --variables level --filter 0.05");
    folder_.Convert("level.csv level.ptc");
    transfer(
        "sheets.ptc --onto level.ptc -o both.csv --variables ramp,level --replace --filter 0.05");
    folder_.Convert("both.csv both.ptc");
    const CloudFile once{wanted}, twice{folder_.Content("both.ptc")};
    ASSERT_EQ(twice.RecordsInFile(), once.RecordsInFile());
    for (std::size_t i = 0; i < once.RecordsInFile(); ++i)
        ASSERT_EQ(twice.PointBytes(i), once.PointBytes(i)) << i;
}

TEST(PtcLookupTool, ReportsAreThoseOfTheTranscript) {
    const ToolFolder folder;
    folder.Write("a.ptc", sound_cloud::Bytes());
    folder.Write("flat.ptc", sound_cloud::Bytes({.has_nodes = false}));
    folder.Write("bare.csv", "x,y,z\n0,0,0\n4,8,-4\n");
    folder.Convert("bare.csv bare.ptc --radius 0.5");
    folder.Write("facing.csv", "x,y,z,nx,ny,nz\n1,2,-1,0,0,1\n1,2,-1,0,0,-1\n3,6,-3,0,0,0\n");
    folder.Write("cut.ptc", sound_cloud::Bytes().substr(0, 200));
    // More points than memory may take: a header that counts them, and a hole behind it.
    std::string huge = sound_cloud::Bytes({.has_nodes = false}).substr(0, sound_cloud::kDataStart);
    constexpr std::uintmax_t kPoints = 60'000'000;
    Put(&huge, 8, static_cast<double>(kPoints));
    folder.Write("huge.ptc", huge);
    std::filesystem::resize_file(folder.Path("huge.ptc"),
                                 huge.size() + kPoints * sound_cloud::kRecord);
    const auto before = folder.Names();
    folder.ExpectTranscript("ptc_lookup.txt", [&] { EXPECT_EQ(folder.Names(), before); });
}

}  // namespace
