// Statistics, histograms and spacing agree with plain ways to find them.

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/tools/run_tool.h"
#include "tools/ptc/measure/channel_sums.h"
#include "tools/ptc/measure/spacing_sample.h"

namespace {

using nlohmann::json;
using Floats = std::vector<float>;
using Random = std::mt19937_64;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

float Unit(Random& random) {
    return static_cast<float>(random() >> 40) * 0x1p-24F;
}

/// Random bits whose exponents are `span` or less apart, with all signs or the plus only.
float Bits(Random& random, std::uint32_t low, std::uint32_t span, bool is_signed) {
    const auto exponent = low + static_cast<std::uint32_t>(random() % (span + 1));
    const auto bits = static_cast<std::uint32_t>(random());
    return std::bit_cast<float>((bits & (is_signed ? 0x807fffffU : 0x7fffffU)) | exponent << 23);
}

/// What six digits keep of `value`, so that it is the same in text form.
float Short(double value) {
    return std::strtof(fmt::format("{:.6g}", value).c_str(), nullptr);
}

/// The values of one channel, taken one after the other, in numbers with 64 bits.
struct PlainStatistics {
    explicit PlainStatistics(const Floats& values) {
        long double sum = 0, squares = 0;
        for (const float value : values) {
            nan += std::isnan(value);
            infinite += std::isinf(value);
            zero += value == 0;
            if (!std::isfinite(value)) continue;
            finite.push_back(value);
            sum += value;
        }
        const auto count = static_cast<long double>(finite.size());
        for (const float value : finite) squares += (value - sum / count) * (value - sum / count);
        mean = static_cast<double>(sum / count);
        deviation = static_cast<double>(std::sqrt(squares / count));
    }
    int nan = 0, infinite = 0, zero = 0;
    Floats finite;
    double mean, deviation;
};

void ExpectStatistics(const json& is, const Floats& values) {
    const PlainStatistics plain(values);
    EXPECT_EQ(is["finite"], plain.finite.size());
    EXPECT_EQ(is["nan"], plain.nan);
    EXPECT_EQ(is["infinite"], plain.infinite);
    EXPECT_EQ(is["zero"], plain.zero);
    if (plain.finite.empty()) {
        for (const char* key : {"least", "greatest", "mean", "deviation"})
            EXPECT_TRUE(is[key].is_null()) << key;
        return;
    }
    EXPECT_EQ(is["least"], *std::min_element(plain.finite.begin(), plain.finite.end()));
    EXPECT_EQ(is["greatest"], *std::max_element(plain.finite.begin(), plain.finite.end()));
    EXPECT_NEAR(is["mean"], plain.mean, 1e-14 * std::fabs(plain.mean));
    EXPECT_NEAR(is["deviation"], plain.deviation, 1e-13 * plain.deviation);
}

/// Every finite value is in one bin, between its edges, and the bins are the whole range.
void ExpectHistogram(const json& is, const Floats& values, std::size_t bins) {
    const Floats finite = PlainStatistics(values).finite;
    const auto edges = is["edges"].get<std::vector<double>>();
    const auto counts = is["counts"].get<std::vector<std::uint64_t>>();
    if (finite.empty()) {
        EXPECT_TRUE(edges.empty() && counts.empty());
        return;
    }
    const auto [least, greatest] = std::minmax_element(finite.begin(), finite.end());
    ASSERT_EQ(counts.size(), *least == *greatest ? 1 : bins);
    ASSERT_EQ(edges.size(), counts.size() + 1);
    EXPECT_EQ(edges.front(), *least);
    EXPECT_EQ(edges.back(), *greatest);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const bool is_last = i + 1 == counts.size();
        const auto is_in = [&](float value) {
            return value >= edges[i] &&
                   (value < edges[i + 1] || (is_last && value == edges[i + 1]));
        };
        EXPECT_EQ(counts[i], std::count_if(finite.begin(), finite.end(), is_in)) << "bin " << i;
    }
}

constexpr std::size_t kMeasuredPoints = 1500;

struct KnownChannel {
    const char* type;
    float (*value)(std::size_t i, Random& random);
};

const KnownChannel kChannels[] = {
    {"float any", [](std::size_t, Random& random) { return Short(Unit(random) * 7 - 2); }},
    {"float far", [](std::size_t i, Random&) { return 250000 + static_cast<float>(i % 3); }},
    {"float constant", [](std::size_t, Random&) { return 0.1f; }},
    {"float nothing", [](std::size_t, Random&) { return kNoNumber; }},
    {"float endless", [](std::size_t i, Random&) { return i % 2 ? kInfinity : -kInfinity; }},
    {"float zero", [](std::size_t i, Random&) { return i % 2 ? 0.0f : -0.0f; }},
    {"float some",
     [](std::size_t i, Random& random) {
         const float odd[] = {kNoNumber, kInfinity, 0, -0.0f, -kInfinity};
         return i % 7 < 5 && i > 900 ? odd[i % 7] : Short(Unit(random));
     }},
    // Bins of 24.5, and 49 / 49.0 is below 1 when it is multiplied by the inverse.
    {"float steps", [](std::size_t i, Random&) { return static_cast<float>(i % 344); }},
    {"float across",
     [](std::size_t i, Random&) {
         const float values[] = {-1e30f, 1e30f, -1e-30f, 1e-30f};
         return values[i % 4];
     }},
    {"float wide",
     [](std::size_t i, Random&) {
         return Short(std::pow(-10.0, static_cast<double>(i % 70) - 35));
     }},
};

TEST(PtcMeasure, AllFormsGiveTheStatisticsOfPlainSums) {
    std::vector<const char*> types;
    for (const KnownChannel& channel : kChannels) types.push_back(channel.type);
    const auto form_of = [&](TokenForm form, std::vector<Floats>* values) {
        const MemoryCloud cloud(WithVariables(types), form);
        Random random(3);
        values->assign(std::size(kChannels), {});
        for (std::size_t i = 0; i < kMeasuredPoints; ++i) {
            Floats data;
            for (std::size_t c = 0; c < std::size(kChannels); ++c) {
                data.push_back(kChannels[c].value(i, random));
                (*values)[c].push_back(data.back());
            }
            cloud.Add({{static_cast<float>(i), 1, 2}, {0, 0, 1}, 0.25}, data.data());
        }
        return cloud.Finished();
    };
    const ToolFolder folder;
    std::vector<Floats> values;
    folder.Write("binary", form_of(TokenForm::kBinary, &values));
    folder.Write("text", form_of(TokenForm::kText, &values));
    folder.Write("gzip", gzip_bytes::Whole(folder.Content("binary")));
    ASSERT_EQ(folder.Run("organize binary -o organised").status, 0);
    std::string options = "info --json --stats --bins 14";
    for (const char* type : types) options += " --histogram " + std::string(type).substr(6);
    for (const char* file : {"binary", "text", "gzip", "organised"}) {
        SCOPED_TRACE(file);
        const ToolRun run = folder.Run(options + " - <" + file);
        ASSERT_EQ(run.status, 0) << run.err;
        const json info = json::parse(run.out)[0];
        const json& channels = info["statistics"]["channels"];
        ASSERT_EQ(channels.size(), 4 + std::size(kChannels));
        EXPECT_EQ(channels[0]["mean"], (kMeasuredPoints - 1) / 2.0);
        EXPECT_EQ(channels[3]["greatest"], 0.25);
        EXPECT_EQ(info["statistics"]["spacing"]["radius_per_spacing"], 0.25);
        for (std::size_t c = 0; c < std::size(kChannels); ++c) {
            SCOPED_TRACE(kChannels[c].type);
            ExpectStatistics(channels[4 + c], values[c]);
            ExpectHistogram(info["histograms"][c], values[c], 14);
        }
    }
}

TEST(PtcMeasure, SumsOfBlocksAreThoseOfSingleValuesToTheBit) {
    Random random(4);
    const struct {
        std::uint32_t low, span;
        bool is_signed, is_full;
    } cases[] = {{100, 0, false, true},  {100, 20, false, true}, {100, 21, false, true},
                 {100, 22, false, true}, {100, 21, true, false}, {0, 21, false, true},
                 {0, 22, true, false},   {233, 21, false, true}, {0, 254, true, false},
                 {254, 0, false, true},  {0, 0, true, false}};
    for (const auto& [low, span, is_signed, is_full] : cases) {
        SCOPED_TRACE(testing::Message() << low << " " << span);
        Floats values;
        for (int i = 0; i < 1000; ++i) values.push_back(Bits(random, low, span, is_signed));
        // The most that a block may hold: all bits set, and one value as far below as may be. The
        // next block takes the others away, so that a bit of it that is lost shows.
        for (std::size_t i = 0; is_full && i < 256; ++i) {
            values[i] = std::bit_cast<float>((low + (i == 9 ? 0 : span)) << 23 | 0x7fffff);
            values[256 + i] = i == 9 ? 0 : -values[i];
        }
        if (is_full) values.resize(512);
        measure::ChannelSums blocks;
        blocks.Add(values);
        for (int round = 0; round < 2; ++round) {
            measure::ChannelSums sums;
            for (const float& value : values) sums.Add({&value, 1});
            EXPECT_EQ(sums.Statistics().mean, blocks.Statistics().mean);
            EXPECT_EQ(sums.Statistics().deviation, blocks.Statistics().deviation);
            EXPECT_EQ(sums.Statistics().least, blocks.Statistics().least);
            EXPECT_EQ(sums.Statistics().zero, blocks.Statistics().zero);
            std::shuffle(values.begin(), values.end(), random);
        }
        const PlainStatistics plain(values);
        EXPECT_NEAR(blocks.Statistics().deviation, plain.deviation, 1e-13 * plain.deviation);
    }
}

/// The distance to the nearest other place, by trying all points.
std::optional<double> PlainNearest(const Floats& records, std::size_t point) {
    double nearest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < records.size(); i += PointScan::kData) {
        double squared = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double way = double{records[i + axis]} - records[point + axis];
            squared += way * way;
        }
        if (squared > 0 && squared < nearest) nearest = squared;
    }
    if (!std::isfinite(nearest)) return std::nullopt;
    return std::sqrt(nearest);
}

TEST(PtcMeasure, SpacingIsThatOfTryingAllPoints) {
    using Position = std::array<float, 3>;
    const struct {
        const char* name;
        Position (*position)(std::size_t i, Random& random);
    } cases[] = {
        {"random",
         [](std::size_t, Random& r) {
             return Position{Unit(r), Unit(r), Unit(r)};
         }},
        {"flat, in order",
         [](std::size_t i, Random& r) {
             return Position{static_cast<float>(i - i % 100), static_cast<float>(i % 100), Unit(r)};
         }},
        {"clumps of all sizes",
         [](std::size_t i, Random& r) {
             const float size = std::ldexp(1.0f, static_cast<int>(i * 31 % 41) * 3 - 60);
             return Position{size * (1 + Unit(r)), size * Unit(r), -size * Unit(r)};
         }},
        {"one place",
         [](std::size_t, Random&) {
             return Position{0.1f, 2, 3};
         }},
        {"one place and a stray",
         [](std::size_t i, Random&) {
             return Position{i == 8001 ? 1e30f : 0.1f, 2, 3};
         }},
        {"ten places, most points in the last",
         [](std::size_t, Random& r) {
             return Position{std::ldexp(1.0f, r() % 4 ? 9 : static_cast<int>(r() % 9)), 0, 0};
         }},
        {"not finite",
         [](std::size_t i, Random& r) {
             return Position{i % 3 ? Unit(r) : kNoNumber, Unit(r), i % 5 ? Unit(r) : kInfinity};
         }},
        {"as large as can be",
         [](std::size_t, Random& r) {
             return Position{Bits(r, 250, 4, true), Bits(r, 250, 4, true), Bits(r, 0, 254, true)};
         }},
    };
    for (const auto& [name, position] : cases) {
        SCOPED_TRACE(name);
        constexpr std::size_t kCount = 9001, kStep = 10, kPiece = 128;
        Random random(5);
        Floats records;
        for (std::size_t i = 0; i < kCount; ++i) {
            const Position at = position(i, random);
            records.insert(records.end(), {at[0], at[1], at[2], 0, static_cast<float>(i)});
        }
        measure::SpacingSample sample(kCount);
        const auto show = [&](auto method) {
            for (std::size_t i = 0; i < kCount; i += kPiece)
                (sample.*method)(
                    {std::span(records).subspan(i * PointScan::kData,
                                                std::min(kPiece, kCount - i) * PointScan::kData),
                     PointScan::kData});
        };
        show(&measure::SpacingSample::Take);
        EXPECT_FALSE(sample.Settle());
        show(&measure::SpacingSample::Try);

        std::vector<double> distances;
        std::uint64_t sampled = 0;
        for (std::size_t i = 0; i < records.size(); i += kStep * PointScan::kData) {
            if (!std::isfinite(records[i]) || !std::isfinite(records[i + 2])) continue;
            ++sampled;
            if (const auto nearest = PlainNearest(records, i)) distances.push_back(*nearest);
        }
        std::sort(distances.begin(), distances.end());
        const measure::Spacing found = sample.Find();
        EXPECT_EQ(found.sampled, sampled);
        ASSERT_EQ(found.median.has_value(), !distances.empty());
        const std::size_t count = distances.size();
        if (found.median) {
            EXPECT_EQ(*found.median, (distances[(count - 1) / 2] + distances[count / 2]) / 2);
        }
    }
}

TEST(PtcMeasure, ReportsAreThoseOfTheTranscript) {
    const ToolFolder folder;
    folder.Write("few.csv",
                 "x,y,z,radius,_area,glow_r,glow_g,glow_b\n0,0,0,0.5,1,0,nan,inf\n"
                 "1,0,0,0.5,1,0.25,nan,1\n2,0,0,0.5,1,1,nan,-inf\n2,0,1,0.25,1,0.75,nan,0\n");
    folder.Write("none.csv", "x,y,z\n");
    folder.Convert("few.csv few.ptc");
    folder.Convert("none.csv none.ptc --radius 1");
    folder.Write("cut.ptc", folder.Content("few.ptc").substr(0, 440));
    folder.ExpectTranscript("ptc_measure.txt");
}

}  // namespace
