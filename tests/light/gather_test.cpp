// Occlusion and indirect light: scenes against formulas, hostile points and nodes, several files,
// threads that gather while others read and files come and go.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <numbers>

#include "ptc/cache/cache_set.h"
#include "ptc/files/thread_files.h"
#include "ptc/light.h"
#include "tests/light/lit_clouds.h"
#include "tests/support/together.h"
#include "util/host/message.h"

namespace {

using Vector = std::array<float, 3>;

bool AreSame(const PtcGathered& a, const PtcGathered& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool IsSound(const PtcGathered& g) {
    const float values[] = {g.open[0],     g.open[1],     g.open[2],
                            g.indirect[0], g.indirect[1], g.indirect[2]};
    return g.occlusion >= 0 && g.occlusion <= 1 &&
           std::all_of(std::begin(values), std::end(values),
                       [](float value) { return std::isfinite(value); });
}

/// A rectangle of points, `count` by `count`, from `corner` along `u` and `v`. Black, unless lit.
void AddWall(const Vector& corner, const Vector& u, const Vector& v, const Vector& normal,
             std::vector<LitPoint>* points, int count = 64) {
    const double area = std::hypot(u[0], u[1], u[2]) * std::hypot(v[0], v[1], v[2]);
    const float each = static_cast<float>(area) / static_cast<float>(count * count);
    for (int i = 0; i < count * count; ++i) {
        const float s = (static_cast<float>(i % count) + 0.5f) / static_cast<float>(count);
        const float t = (static_cast<float>(i / count) + 0.5f) / static_cast<float>(count);
        LitPoint& p = points->emplace_back();
        for (std::size_t k = 0; k < 3; ++k) p.position[k] = corner[k] + s * u[k] + t * v[k];
        p.normal = normal;
        p.area = each;
        p.radius = std::sqrt(each / 2);
        p.colour = {0.5f, 1, 4};
    }
}

std::vector<LitPoint> Box() {
    std::vector<LitPoint> points;
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (const float side : {-1.0f, 1.0f}) {
            Vector corner = {-1, -1, -1}, u{}, v{}, normal{};
            corner[axis] = side;
            u[(axis + 1) % 3] = v[(axis + 2) % 3] = 2;
            normal[axis] = -side;
            AddWall(corner, u, v, normal, &points);
        }
    return points;
}

class Gathering : public LitClouds {
protected:
    static PtcGathered Of(std::vector<PtcManagedFile*> files, const PtcPlace& place,
                          const PtcGathering& settings = {}) {
        const PtcLight light({files.data(), static_cast<int>(files.size())});
        PtcGathered gathered;
        EXPECT_TRUE(light.Gather(place, settings, &gathered)) << PtcLastFailure().text;
        EXPECT_TRUE(IsSound(gathered));
        return gathered;
    }
};

TEST_F(Gathering, SimpleScenesHaveTheirFormulas) {
    std::vector<LitPoint> plane, wall;
    AddWall({-20, -20, 0}, {40, 0, 0}, {0, 40, 0}, {0, 0, 1}, &plane);
    AddWall({1, -3, 0}, {0, 6, 0}, {0, 0, 2}, {-1, 0, 0}, &wall);
    // What a wall as high as 2 and as wide as 3 to either side hides of a place 1 before it.
    const double root = std::sqrt(5.0);
    const double of_wall = (std::atan(3.0) - std::atan(3 / root) / root) * std::numbers::inv_pi;
    struct Case {
        const char* name;
        std::vector<LitPoint> points;
        Vector place;
        double occlusion;
    };
    const Case cases[] = {{"box, at the centre of its root", Box(), {0, 0, 0}, 1},
                          {"box", Box(), {0.6f, -0.3f, -0.9f}, 1},
                          {"plane, on it", plane, {0.1f, 0.2f, 0}, 0},
                          {"plane, below it", plane, {0.1f, 0.2f, -0.5f}, 1},
                          {"wall", wall, {0, 0, 0}, of_wall}};
    struct Quality {
        PtcGatherQuality quality;
        double error;
    };
    const Vector up = {0, 0, 1};
    for (const Case& scene : cases) {
        PtcManagedFile* const file = Cloud(scene.points);
        for (const Quality& used :
             {Quality{kPtcCoarseGather, 0.03}, {kPtcUsualGather, 0.02}, {kPtcFineGather, 0.01}}) {
            const PtcGathered gathered =
                Of({file}, {scene.place.data(), up.data()}, {.quality = used.quality});
            EXPECT_NEAR(gathered.occlusion, scene.occlusion, used.error) << scene.name;
            // All colours are alike, but the backs are black.
            const double lit = scene.place[2] == -0.5f ? 0 : scene.occlusion;
            for (std::size_t i = 0; i < 3; ++i) {
                const double colour = scene.points[0].colour[i];
                EXPECT_NEAR(gathered.indirect[i] / colour, lit, used.error) << scene.name;
            }
        }
    }
}

TEST_F(Gathering, SettingsAtTheirLimitsGiveSoundAnswers) {
    PtcManagedFile* const file = Cloud(Ball(3000, 1));
    const Vector place = {0, 0, 0}, up = {0, 0, 1};
    for (const float small : {std::numeric_limits<float>::denorm_min(), 1e-30f})
        for (const float large : {3e38f, 1e20f}) {
            for (const PtcGathering& settings :
                 {PtcGathering{.cone = small}, PtcGathering{.bias = large},
                  PtcGathering{.within = small}, PtcGathering{.within = large, .falloff = large},
                  PtcGathering{.quality = {0.001f, 64}, .within = 30, .falloff = small},
                  PtcGathering{.quality = {2, 4}}})
                (void)Of({file}, {place.data(), up.data()}, settings);
            const Vector far = {large, -large, 0};
            (void)Of({file}, {far.data(), up.data()});
        }
}

TEST_F(Gathering, CloudsThatAreOneSceneAnswerAsOneFile) {
    const std::vector<LitPoint> points = Ball(20000, 3);
    std::vector<PtcManagedFile*> parts;
    for (std::size_t begin = 0; begin < points.size(); begin += 5000)
        parts.push_back(Cloud({&points[begin], &points[begin] + 5000}));
    PtcManagedFile* const whole = Cloud(points);
    for (std::size_t i = 0; i < 2000; i += 97) {
        const PtcPlace place = {points[i].position.data(), points[i].normal.data()};
        const PtcGathered of_parts = Of(parts, place), of_whole = Of({whole}, place);
        EXPECT_NEAR(of_parts.occlusion, of_whole.occlusion, 0.04);
        for (std::size_t k = 0; k < 3; ++k)
            EXPECT_NEAR(of_parts.indirect[k], of_whole.indirect[k], 0.06);
    }
}

// Every fifth point has a twin that must add nothing, or one that may be seen but is not a number.
TEST_F(Gathering, PointsThatAreNotFiniteDoNotSpread) {
    const std::vector<LitPoint> sound = Ball(5000, 4);
    std::vector<LitPoint> nothing = sound, odd = sound;
    const float values[] = {kNaN, kInfinity, -kInfinity};
    for (std::size_t i = 0; i < sound.size(); i += 5) {
        LitPoint p = sound[i];
        p.colour[i % 3] = values[i / 5 % 3];
        p.normal = i % 2 ? p.normal : Vector{};
        odd.push_back(p);
        p.radius = 0;
        (i % 4 < 2 ? p.position[i % 3] : p.area) = values[i / 5 % 3];
        nothing.push_back(p);
    }
    PtcManagedFile* const files[] = {Cloud(sound), Cloud(nothing), Cloud(odd)};
    for (const Vector& place : {Vector{0, 0, 25}, {3, 0, 0}, {-10, 8, 1}, sound[40].position})
        for (const Vector& normal : {Vector{0, 0, 1}, {0, 0, -1}}) {
            const PtcPlace at = {place.data(), normal.data()};
            const PtcGathered with = Of({files[1]}, at), without = Of({files[0]}, at);
            EXPECT_NEAR(with.occlusion, without.occlusion, 0.03);
            EXPECT_NEAR(with.indirect[1], without.indirect[1], 0.05);
            const PtcGathered seen = Of({files[2]}, at);
            EXPECT_NEAR(seen.occlusion, without.occlusion, 0.1);
            EXPECT_GE(2.0f, seen.indirect[0]);
        }
}

// The nodes are at the end of the file. Any floats may be in them: areas below 0, colours without
// area, boxes beside their centres. Whoever hears of those that cannot be read gathers, too.
TEST_F(Gathering, DamagedNodesGiveSoundAnswers) {
    const std::vector<LitPoint> points = Ball(2000, 5);
    (void)Cloud(points);
    const std::string bytes = ContentOf(folder_.File("0"));
    const float odd[] = {kNaN, kInfinity, 0, 1e-45f, 3e38f, -3e38f, 1e20f, -1, 1e-20f};
    std::mt19937 random(6);
    int answered = 0;
    static const PtcLight* heard;
    static int told;
    PtcManagedFile* const others[] = {Cloud(points)};
    const PtcLight other({others, 1});
    heard = &other;
    told = 0;
    MsgSetHandler(
        [](int, int, const char*) {
            const Vector place = {0, 0, 0}, up = {0, 0, 1};
            PtcGathered gathered;
            told += heard->Gather({place.data(), up.data()}, {}, &gathered);
            return 0;
        },
        0);
    for (int round = 0; round < 60; ++round) {
        std::string damaged = bytes;
        for (int i = 0; i < (round % 2 ? 20 : 100); ++i) {
            const float value = round % 2 ? 3e38f : odd[random() % 9];
            std::memcpy(&damaged[bytes.size() - 4 * (1 + random() % 5000)], &value, sizeof value);
        }
        const std::unique_ptr<PtcManagedFile, void (*)(PtcManagedFile*)> file(
            PtcOpenAlone(WriteTo(folder_.File("damaged"), damaged).c_str()), &PtcRelease);
        PtcManagedFile* const files[] = {file.get()};
        const PtcLight light({files, 1});
        for (std::size_t i = 0; i < 10; ++i) {
            PtcGathered gathered;
            const LitPoint& p = points[random() % points.size()];
            answered += light.Gather({p.position.data(), p.normal.data()}, {}, &gathered);
            EXPECT_TRUE(IsSound(gathered));
        }
    }
    MsgSetHandler(nullptr, 0);
    EXPECT_GT(answered, 100);
    EXPECT_GT(told, 20);
}

// With room for hardly a block and for two open files of five, every answer has the bits that one
// thread alone gets, whatever settings its memory had before.
TEST_F(Gathering, AnswersAreTheSameWhileFilesComeAndGo) {
    constexpr int kThreads = 4;
    constexpr std::size_t kFiles = 5, kPlaces = 24;
    const std::vector<LitPoint> points = Ball(3000, 7);
    std::vector<std::string> names;
    for (std::size_t file = 0; file < kFiles; ++file) {
        names.push_back(folder_.File(std::to_string(file)));
        (void)Cloud(Ball(3000, 7 + static_cast<unsigned>(file)));
    }
    const auto answer = [&](const PtcLight& light, std::size_t i) {
        const PtcGathering settings[] = {
            {}, {.quality = kPtcFineGather, .within = 15, .falloff = 1}, {.cone = 0.5f}};
        PtcGathered gathered;
        EXPECT_TRUE(light.Gather({points[i].position.data(), points[i].normal.data()},
                                 settings[i % 3], &gathered));
        return gathered;
    };
    std::array<std::array<PtcGathered, kPlaces>, kFiles> right;
    for (std::size_t file = 0; file < kFiles; ++file) {
        PtcManagedFile* const handles[] = {files_[file].Get(), files_[(file + 1) % kFiles].Get()};
        const PtcLight light({handles, 2});
        for (std::size_t i = 0; i < kPlaces; ++i) right[file][i] = answer(light, i);
    }
    files_.clear();
    PtcShutdown();
    UtFileManager::Create(kThreads, 2, 1);
    PtcConfigure(kThreads, 1, 1, nullptr);
    std::atomic<int> wrong{0};
    {
        const PtcFile first(names[0].c_str()), second(names[1].c_str());
        PtcManagedFile* const handles[] = {first.Get(), second.Get()};
        const PtcLight shared({handles, 2});
        RunTogether(kThreads, [&](int id) {
            std::mt19937 random(static_cast<unsigned>(id));
            for (int use = 0; use < 30; ++use) {
                const std::size_t file = random() % kFiles;
                const PtcFile own(names[file].c_str()), next(names[(file + 1) % kFiles].c_str());
                PtcManagedFile* const used[] = {own.Get(), next.Get()};
                const PtcLight light({used, 2});
                const std::size_t i = random() % kPlaces;
                wrong += !AreSame(answer(light, i), right[file][i]);
                wrong += !PtcGetPoint(own.Get(), static_cast<std::int64_t>(random() % 3000));
                wrong += !AreSame(answer(shared, i), right[0][i]);
            }
        });
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_STREQ(BrokenCachePromise(), nullptr);
    PtcShutdown();
    PtcConfigure(0, 0, 0, nullptr);
}

}  // namespace
