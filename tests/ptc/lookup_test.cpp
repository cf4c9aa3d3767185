// Looking up through the public header: every answer is that of a plain walk over all points.

#include "ptc/lookup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <limits>
#include <thread>

#include "ptc/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/thread_files.h"
#include "ptc/organise.h"
#include "tests/support/cloud_file.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/plain_lookup.h"
#include "tests/support/scratch.h"
#include "tests/support/tree_cloud.h"
#include "util/host/config.h"

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// How often the random cases are tried: once, but more for a run that takes its time.
int Rounds() {
    const char* const rounds = std::getenv("PTC_LOOKUP_ROUNDS");
    return rounds ? std::atoi(rounds) : 1;
}

template <class T, std::size_t N>
T OneOf(std::mt19937& random, const T (&choices)[N]) {
    return choices[random() % N];
}

/// From -1 on, below 1.
float Coordinate(std::mt19937& random) {
    return static_cast<float>(random() % 65536) / 32768 - 1;
}

void Direction(std::mt19937& random, float* out) {
    for (int axis = 0; axis < 3; ++axis) out[axis] = Coordinate(random) + 0.01f;
    const float length = std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]);
    for (int axis = 0; axis < 3; ++axis) out[axis] /= length;
}

// --- random clouds ---

enum class Places { kUniform, kClustered, kPlanar, kOnePlace, kRepeated, kTiny, kVast, kFar };

/// Radii, ways and distances are in proportion to this.
float Extent(Places places) {
    return places == Places::kTiny ? 1e-21f : places == Places::kFar ? 4e19f : 1;
}

void DrawPlace(Places places, std::mt19937& random, float* out) {
    static constexpr float kClumps[4][3] = {
        {0, 0, 0}, {0.5f, 0.5f, 0.5f}, {0.5f, 0.51f, 0.5f}, {-0.9f, 0.2f, 0}};
    const float* const clump = kClumps[random() % 4];
    for (int axis = 0; axis < 3; ++axis) {
        const float c = Coordinate(random);
        switch (places) {
            case Places::kUniform:
                out[axis] = c;
                break;
            case Places::kClustered:
                out[axis] = clump[axis] + c * c * c * 0.02f;
                break;
            case Places::kPlanar:
                out[axis] = axis == 2 ? 0.25f : c;
                break;
            case Places::kOnePlace:
                out[axis] = 0.3f;
                break;
            case Places::kRepeated:
                out[axis] = std::floor(c * 3) / 3;
                break;
            case Places::kTiny:  // squared distances are too small for a float, or nearly
                out[axis] = c * Extent(places);
                break;
            case Places::kFar:  // and too large between the two clumps
                out[axis] = c * 1e17f + (axis == 0 && c > 0.5f ? Extent(places) : 0);
                break;
            case Places::kVast:
                out[axis] = std::ldexp(c, static_cast<int>(random() % 250) - 124);
                break;
        }
    }
}

std::vector<TreePoint> RandomPoints(Places places, std::size_t count, std::mt19937& random) {
    const unsigned stray_in = OneOf(random, {0x7fffffffu, 50u, 3u});
    const unsigned odd_radius_in = OneOf(random, {0x7fffffffu, 100u});
    std::vector<TreePoint> points(count);
    for (TreePoint& point : points) {
        PointHead& head = point.head;
        DrawPlace(places, random, head.position);
        Direction(random, head.normal);
        head.radius = OneOf(random, {0.0f, 0.01f, 0.02f}) * Extent(places);
        for (float& value : point.data) value = Coordinate(random);
        if (random() % stray_in == 0)
            head.position[random() % 3] = OneOf(random, {kNaN, kInfinity, -kInfinity});
        if (random() % odd_radius_in == 0)
            head.radius = OneOf(random, {kNaN, kInfinity, 3e38f, 0.7f, 1e-40f});
        if (random() % 100 == 0) point.data[random() % 4] = OneOf(random, {kNaN, kInfinity});
    }
    return points;
}

enum class Form { kTree, kOctree, kOrganised, kBinary, kText, kGzip, kTransient };
constexpr Form kForms[] = {Form::kTree, Form::kTree, Form::kOctree,    Form::kOrganised,
                           Form::kText, Form::kGzip, Form::kTransient, Form::kBinary};

bool Organise(const std::string& input, const std::string& output, int leaf) {
    const char* const inputs[] = {input.c_str()};
    PtcOrganiseRequest request;
    request.inputs = inputs;
    request.input_count = 1;
    request.output = output.c_str();
    request.leaf_points = leaf;
    const bool is_done = PtcOrganise(request, nullptr);
    EXPECT_TRUE(is_done) << PtcLastFailure().text;
    return is_done;
}

/// Writes a file of `count` points in `form`.
void WriteRandom(const std::string& file, Form form, Places places, std::size_t count,
                 std::mt19937& random) {
    if (form == Form::kOctree) {
        WriteTo(file, BytesOf({count}));
        return;
    }
    TreeShape shape;
    shape.has_tree = form == Form::kTree;
    shape.form = form == Form::kText ? TokenForm::kText : TokenForm::kBinary;
    shape.declared =
        OneOf(random, {Declared::kGlowNumber, Declared::kGlowNumber, Declared::kNumberGlow,
                       Declared::kNumberOnly, Declared::kGlowIsFloat});
    shape.leaf_points = OneOf(random, {1, 8, 40, 1000, 1000000});
    if (count > 10'000) shape.leaf_points = std::max<std::size_t>(shape.leaf_points, 40);
    shape.is_sorted = random() % 4 != 0;
    shape.has_strays_behind = random() % 2 == 0;
    shape.nodes_share_box = random() % 8 == 0;
    shape.single_children_in = OneOf(random, {2u, 8u, 1000u});
    const std::string bytes = TreeCloud(RandomPoints(places, count, random), shape, random);
    WriteTo(file, form == Form::kGzip ? gzip_bytes::Whole(bytes) : bytes);
    if (form == Form::kOrganised) (void)Organise(file, file, OneOf(random, {0, 1, 3, 300}));
}

// --- what is asked ---

/// Places of all kinds: far from each other, each a step from the one before, or ever closer to a
/// point.
ManyPlaces RandomPlaces(const PlainLookup& plain, Places places, std::size_t count,
                        bool has_normals, std::mt19937& random) {
    enum class Way { kNone, kSteps, kApproach };
    const Way way = OneOf(random, {Way::kNone, Way::kNone, Way::kSteps, Way::kApproach});
    const float step = OneOf(random, {1e-6f, 0.001f, 0.02f, 0.3f}) * Extent(places);
    ManyPlaces many;
    float before[3];
    float from[3];
    Direction(random, from);
    for (std::size_t i = 0; i < count; ++i) {
        float at[3];
        float normal[3];
        DrawPlace(places, random, at);
        Direction(random, normal);
        const auto heads = plain.Heads(random() % plain.FileCount());
        const PointHead* const head = heads.empty() ? nullptr : &heads[random() % heads.size()];
        if (head && random() % 2) std::copy_n(head->position, 3, at);  // at a point
        if (head && random() % 2) std::copy_n(head->normal, 3, normal);
        if (i > 0 && way != Way::kNone) std::copy_n(before, 3, at);
        const float left = 1 - static_cast<float>(i) / static_cast<float>(count);
        for (int axis = 0; axis < 3; ++axis) {
            if (way == Way::kSteps) at[axis] += step * Coordinate(random);
            before[axis] = at[axis];
            if (way == Way::kApproach) at[axis] += left * from[axis] * Extent(places);
        }
        const auto how = random() % (way == Way::kNone ? 16 : 100);
        if (how < 4) at[random() % 3] += OneOf(random, {1e-6f, 0.01f, -0.3f}) * Extent(places);
        if (how == 4) at[random() % 3] = OneOf(random, {1e3f, -1e6f, 1e19f, 1e30f, -3e38f});
        if (how == 5) at[random() % 3] = OneOf(random, {kNaN, kInfinity, -kInfinity});
        many.positions.insert(many.positions.end(), at, at + 3);
        if (has_normals) many.normals.insert(many.normals.end(), normal, normal + 3);
    }
    return many;
}

PtcNearest RandomWish(float extent, std::mt19937& random) {
    PtcNearest wanted;
    wanted.most = OneOf(random, {1, 1, 2, 8, 8, 8, 50, 257, 1000});
    wanted.within =
        OneOf(random, {kInfinity, kInfinity, kInfinity, 0.0f, 1e-30f, 0.003f, 0.05f, 0.4f, 1e30f});
    if (wanted.within < 1) wanted.within *= extent;
    wanted.least_dot = OneOf(random, {-1.0f, -1.0f, -7.0f, -0.9f, 0.0f, 0.5f, 1.0f, 2.0f});
    return wanted;
}

PtcFilter RandomFilter(float extent, std::mt19937& random) {
    PtcFilter filter;
    filter.radius = OneOf(random, {0.0f, 0.01f, 0.05f, 0.3f, 1e30f});
    if (filter.radius < 1) filter.radius *= extent;
    filter.least_dot = OneOf(random, {0.0f, 0.0f, -1.0f, 0.7f});
    return filter;
}

class Lookup : public testing::Test {
protected:
    Lookup() {
        told_.clear();
        PtcShutdown();
        PtcSetMessageHandler([](int, int, const char* text) {
            told_.emplace_back(text);
            return 0;
        });
    }
    ~Lookup() override {
        End();
        PtcSetMessageHandler(nullptr);
    }

    /// Gives the files back and checks what the library promises.
    void End() {
        files_.clear();
        if (ThreadFiles* const table = UtFileManager::Get()) {
            EXPECT_STREQ(table->Manager().BrokenPromise(), nullptr);
        }
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
        PtcConfigure(0, 0, 0, nullptr);  // files are no longer transient
        PtcShutdown();
        names_.clear();
    }

    void Open(const std::string& name, bool is_transient = false) {
        names_.push_back(name);
        PtcConfigure(0, 0, 0, is_transient ? "transient" : nullptr);
        files_.emplace_back(name.c_str());
        EXPECT_TRUE(files_.back()) << PtcLastFailure().text;
        PtcConfigure(0, 0, 0, nullptr);
    }
    void OpenBytes(const std::string& bytes) {
        Open(WriteTo(folder_.File(std::to_string(names_.size())), bytes));
    }

    /// Of all files that are open.
    PtcLookup Made() const {
        std::vector<PtcManagedFile*> files;
        for (const PtcFile& file : files_) files.push_back(file.Get());
        return PtcLookup({files.data(), static_cast<int>(files.size()), kVariables, 2});
    }
    PlainLookup Plain() const { return PlainLookup(names_, kVariables); }

    static constexpr const char* kVariables[] = {"glow", "number"};

    inline static std::vector<std::string> told_;
    const ScratchFolder folder_;
    std::vector<std::string> names_;
    std::deque<PtcFile> files_;
};

// --- against the plain walk ---

struct RandomCase {
    const char* name;
    Places places;
    int rounds;
};

class LookupOf : public Lookup, public testing::WithParamInterface<RandomCase> {
protected:
    /// One set of files and what is asked of it.
    void Try(std::mt19937& random) {
        const Places places = GetParam().places;
        const std::size_t files = OneOf(random, {1, 1, 1, 2, 3, 8, 100});
        const std::size_t points = OneOf(random, {0, 1, 60, 1000, 3000, 3000, 10'000, 100'000});
        const bool is_small = random() % 2 == 0;
        const std::int64_t kb = is_small ? 1 : 65536;  // three blocks for each thread, or all
        PtcConfigure(1, kb, kb, nullptr);
        for (std::size_t i = 0; i < files; ++i) {
            const Form form = OneOf(random, kForms);
            const std::size_t count = points / files + random() % (points / files + 1);
            const std::string name = folder_.File(std::to_string(made_++));
            WriteRandom(name, form, places, count, random);
            Open(name, form == Form::kTransient);
        }
        const PtcLookup lookup = Made();
        ASSERT_TRUE(lookup) << PtcLastFailure().text;
        const PlainLookup plain = Plain();
        ASSERT_EQ(lookup.FloatsPerPoint(), static_cast<int>(plain.FloatsPerPoint()));
        const std::size_t asked = points > 10'000 ? 5 : 20;
        for (int wish = 0; wish < 6; ++wish) {
            const bool one_by_one = random() % 2 == 0;
            const ManyPlaces at = RandomPlaces(plain, places, asked, random() % 2, random);
            const unsigned unwanted = random() % 3 == 0 ? static_cast<unsigned>(random()) : 0;
            ASSERT_EQ(DifferenceOfNearest(lookup, plain, at, RandomWish(Extent(places), random),
                                          one_by_one, unwanted),
                      "");
            if (places == Places::kTiny) continue;  // weights are made of squares that are nothing
            ASSERT_EQ(DifferenceOfSamples(lookup, plain, at, RandomFilter(Extent(places), random),
                                          one_by_one),
                      "");
        }
    }

    int made_ = 0;
};

TEST_P(LookupOf, AnswersWhatAPlainWalkFinds) {
    for (int round = 0; round < GetParam().rounds * Rounds(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::mt19937 random(
            static_cast<unsigned>(round * 16 + static_cast<int>(GetParam().places)));
        Try(random);
        End();
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Points, LookupOf,
                         testing::Values(RandomCase{"Uniform", Places::kUniform, 12},
                                         RandomCase{"Clustered", Places::kClustered, 12},
                                         RandomCase{"Planar", Places::kPlanar, 8},
                                         RandomCase{"OnePlace", Places::kOnePlace, 8},
                                         RandomCase{"Repeated", Places::kRepeated, 8},
                                         RandomCase{"Tiny", Places::kTiny, 12},
                                         RandomCase{"Vast", Places::kVast, 12},
                                         RandomCase{"Far", Places::kFar, 12}),
                         [](const auto& tested) { return std::string(tested.param.name); });

// A search may use what the last one has found, but not that all is infinitely far away.
TEST_F(Lookup, StepsFromWhereSquaresOverflowMissNothing) {
    std::mt19937 random(1);
    for (int tree = 0; tree < 10; ++tree) {
        OpenBytes(TreeCloud(RandomPoints(Places::kFar, 3000, random), {}, random));
        const PtcLookup lookup = Made();
        const PlainLookup plain = Plain();
        for (int i = 0; i < 50; ++i) {
            float from[3];
            Direction(random, from);
            const float* const to = plain.Heads(0)[random() % 3000].position;
            for (const float left : {2.4e19f, 1.5e19f}) {
                ManyPlaces place;
                for (int axis = 0; axis < 3; ++axis)
                    place.positions.push_back(to[axis] + left * from[axis]);
                ASSERT_EQ(DifferenceOfNearest(lookup, plain, place, {8, 1.6e19f}), "");
                ASSERT_EQ(DifferenceOfSamples(lookup, plain, place, {1.6e19f}), "");
                ASSERT_EQ(DifferenceOfNearest(lookup, plain, place, {8}), "");
            }
        }
        End();
    }
}

// --- other orders of the same points ---

/// Squared distances and numbers of what is found, in an order that both files share.
std::vector<std::pair<float, float>> DistancesAndNumbers(const PtcLookup& lookup,
                                                         const PtcPlace& place,
                                                         const PtcNearest& wanted) {
    const auto most = static_cast<std::size_t>(wanted.most);
    std::vector<float> squared(most);
    std::vector<float> data(4 * most);
    PtcNearestArrays arrays;
    arrays.squared_distances = squared.data();
    arrays.data = data.data();
    std::int32_t found = -1;
    EXPECT_TRUE(lookup.Nearest(place, wanted, arrays, &found)) << PtcLastFailure().text;
    std::vector<std::pair<float, float>> both;
    for (std::size_t i = 0; i < static_cast<std::size_t>(found); ++i)
        both.emplace_back(squared[i], data[4 * i + 3]);
    std::sort(both.begin(), both.end());
    return both;
}

TEST_F(Lookup, APointIsAtTheSameDistanceInEveryFile) {
    const std::string octree = WriteTo(folder_.File("octree"), BytesOf({20'000}));
    const std::string flat = WriteTo(folder_.File("flat"), BytesOf({20'000, false}));
    ASSERT_TRUE(Organise(flat, folder_.File("organised"), 0));
    Open(octree);
    Open(folder_.File("organised"));
    Open(flat);
    std::vector<PtcLookup> lookups;
    for (const PtcFile& file : files_) {
        PtcManagedFile* const one[] = {file.Get()};
        lookups.push_back(PtcLookup({one, 1, kVariables, 2}));
        ASSERT_TRUE(lookups.back());
    }
    std::mt19937 random(3);
    for (int i = 0; i < 200; ++i) {
        const float at[] = {4 + 4 * Coordinate(random), 4 + 4 * Coordinate(random), 4};
        float normal[3];
        Direction(random, normal);
        const PtcPlace place{at, i % 2 ? normal : nullptr};
        const PtcNearest wanted{64, OneOf(random, {kInfinity, 0.5f}), 0.3f};
        const auto right = DistancesAndNumbers(lookups[0], place, wanted);
        EXPECT_EQ(DistancesAndNumbers(lookups[1], place, wanted), right);
        EXPECT_EQ(DistancesAndNumbers(lookups[2], place, wanted), right);
    }
}

// --- filtered values ---

TEST_F(Lookup, FilteredValuesAreConstantAndContinuousWhereTheChannelIs) {
    std::mt19937 random(1);
    std::vector<TreePoint> points;  // a plane of spacing 0.02, jittered; glow is constant
    for (int i = 0; i < 10'000; ++i) {
        const auto x = static_cast<float>(i % 100);
        const auto y = static_cast<float>(i / 100);
        points.push_back({{{(x + 0.3f * Coordinate(random)) * 0.02f - 1,
                            (y + 0.3f * Coordinate(random)) * 0.02f - 1, 0.25f},
                           {0, 0, 1},
                           0.014f},
                          {0.1f, 1e-30f, -123.456f, std::sin(x * 0.1f) + std::cos(y * 0.2f)}});
    }
    TreeShape flat;
    flat.has_tree = false;
    flat.declared = Declared::kNumberOnly;  // lacks glow
    OpenBytes(TreeCloud(points, {}, random));
    OpenBytes(TreeCloud(points, flat, random));
    const PtcLookup lookup = Made();
    ASSERT_TRUE(lookup);
    const float up[] = {0, 0, 1};
    const float down[] = {0, 0, -1};
    float before = 0;
    for (int i = 0; i < 4000; ++i) {
        const float at[] = {-0.5f + 1e-5f * static_cast<float>(i), -0.111f, 0.25f};
        float values[4] = {};
        float weights[2] = {};
        ASSERT_TRUE(lookup.Sample({at, up}, {0.035f}, values, weights));
        ASSERT_GT(weights[0], 0);
        ASSERT_EQ(values[0], 0.1f) << i;
        ASSERT_EQ(values[1], 1e-30f) << i;
        ASSERT_EQ(values[2], -123.456f) << i;
        ASSERT_NEAR(weights[1], 2 * weights[0], 1e-5f * weights[1]) << "of two files, not of one";
        // The channel changes by up to 10 a unit of length; the filter may double that.
        if (i > 0) {
            ASSERT_LT(std::abs(values[3] - before), 5e-4f) << i;
        }
        before = values[3];
    }
    const float above[] = {0, 0, 0.5f};
    const float there[] = {0, 0, 0.25f};
    for (const PtcPlace& place : {PtcPlace{above, up}, PtcPlace{there, down}}) {
        float values[4] = {7, 7, 7, 7};
        float weights[2] = {7, 7};
        ASSERT_TRUE(lookup.Sample(place, {0.035f}, values, weights));
        for (const float nothing : {values[0], values[3], weights[0], weights[1]})
            EXPECT_EQ(nothing, 0);
    }
}

// --- files that lie or fail ---

/// That the answers are points of the files at the distances that they have, nearest first.
void ExpectRealPoints(const PtcLookup& lookup, const PlainLookup& plain, const ManyPlaces& places) {
    constexpr std::int32_t kMost = 20;
    std::int32_t files[kMost];
    std::int64_t indexes[kMost];
    float squared[kMost];
    PtcNearestArrays arrays;
    arrays.files = files;
    arrays.indexes = indexes;
    arrays.squared_distances = squared;
    for (std::size_t i = 0; i < places.Count(); ++i) {
        std::int32_t found = -1;
        (void)lookup.Nearest(places[i], {kMost}, arrays, &found);
        ASSERT_TRUE(found >= 0 && found <= kMost) << found;
        for (std::int32_t k = 0; k < found; ++k) {
            ASSERT_TRUE(files[k] >= 0 && files[k] < static_cast<int>(plain.FileCount()));
            const auto heads = plain.Heads(static_cast<std::size_t>(files[k]));
            ASSERT_LT(static_cast<std::size_t>(indexes[k]), heads.size());
            const float* const at = heads[static_cast<std::size_t>(indexes[k])].position;
            const float* const from = places[i].position;
            const float x = at[0] - from[0], y = at[1] - from[1], z = at[2] - from[2];
            ASSERT_EQ(squared[k], (x * x + y * y) + z * z);
            ASSERT_TRUE(k == 0 || squared[k - 1] <= squared[k]);
        }
        float values[4];
        float weights[2];
        (void)lookup.Sample(places[i], {0.2f}, values, weights);
    }
}

TEST_F(Lookup, EndsForEveryUnsoundTree) {
    std::mt19937 random(5);
    for (int round = 0; round < 150 * Rounds(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        TreeShape shape;
        shape.leaf_points = 4;
        std::string bytes = TreeCloud(RandomPoints(Places::kUniform, 600, random), shape, random);
        const std::size_t nodes_at = CloudFile{bytes}.DataStart() + 600 * CloudFile{bytes}.Record();
        std::vector<std::int64_t> references;  // of nodes: each begins with its run and its box
        const auto nodes = static_cast<std::size_t>(CloudFile{bytes}.NodeCount());
        for (std::size_t at = nodes_at; references.size() < nodes;) {
            references.push_back(static_cast<std::int64_t>(at));
            const auto mask = static_cast<unsigned char>(bytes[at + 32]);
            at += 33 + 8 * static_cast<std::size_t>(std::popcount(mask));
        }
        for (auto lies = 1 + random() % 20; lies > 0; --lies) {
            const auto node = static_cast<std::size_t>(references[random() % nodes]);
            const auto mask = static_cast<unsigned char>(bytes[node + 32]);
            const auto children = static_cast<std::size_t>(std::popcount(mask));
            switch (random() % 4) {
                case 0:  // the run
                    Put(&bytes, node + 4 * (random() % 2),
                        OneOf(random, {-1, 0, 1, 300, 600, 601, 0x7fffffff, INT32_MIN}));
                    break;
                case 1:  // the box
                    Put(&bytes, node + 8 + 4 * (random() % 6),
                        OneOf(random, {kNaN, kInfinity, -kInfinity, 0.0f, 3e38f}));
                    break;
                case 2:  // a child: another node, or anything
                    if (children > 0)
                        Put(&bytes, node + 33 + 8 * (random() % children),
                            random() % 8 ? references[random() % nodes]
                                         : static_cast<std::int64_t>(random()));
                    break;
                default:  // the number of nodes: a file that is too short for it is not opened
                    Put(&bytes, 40, OneOf(random, {1.0, 5.0, static_cast<double>(nodes / 2)}));
            }
        }
        OpenBytes(bytes);
        OpenBytes(BytesOf({300}));
        const PtcLookup lookup = Made();
        const PlainLookup plain = Plain();
        ExpectRealPoints(lookup, plain, RandomPlaces(plain, Places::kUniform, 5, false, random));
        End();
        if (HasFatalFailure()) return;
    }
}

/// A tree of `depth` nodes above one leaf, in which each node names the next one `shared` times.
std::string ChainOf(int depth, int shared) {
    const MemoryCloud made(WithVariables({"float"}));
    const float number = 1;
    for (int i = 0; i < 10; ++i)
        made.Add({{static_cast<float>(i), 0, 0}, {0, 0, 1}, 0.1f}, &number);
    const NodeToWrite node{0, 10, {-1, -1, -1, 10, 1, 1}, nullptr};
    std::int64_t below = made.AddNode(node);
    for (int i = 0; i < depth; ++i) {
        std::int64_t children[8] = {};
        std::fill_n(children, shared, below);
        below = made.AddNode(node, children);
    }
    return made.Finished();
}

TEST_F(Lookup, EndsWhereNodesAreSharedAndInDeepChains) {
    const std::pair<int, int> chains[] = {{40, 8}, {40, 2}, {50'000, 1}, {50'000, 8}};
    for (const auto& [depth, shared] : chains) {
        SCOPED_TRACE(std::to_string(depth) + " levels of " + std::to_string(shared));
        OpenBytes(ChainOf(depth, shared));
        const PtcLookup lookup = Made();
        const PlainLookup plain = Plain();
        ManyPlaces places;
        places.positions = {2.4f, 0.1f, 0, 1e6f, 0, 0};
        ExpectRealPoints(lookup, plain, places);
        if (shared == 1) {
            EXPECT_EQ(DifferenceOfNearest(lookup, plain, places, {5}), "") << "it is sound";
        }
        End();
    }
}

TEST_F(Lookup, AFileThatCannotBeReadTakesNoOtherWithIt) {
    constexpr std::int64_t kSmall = 1;
    PtcConfigure(1, kSmall, kSmall, nullptr);
    OpenBytes(BytesOf({5000}));
    OpenBytes(BytesOf({5000}));
    const PlainLookup plain = Plain();
    const PlainLookup other({names_[0]}, kVariables);
    const PtcLookup lookup = Made();
    ASSERT_TRUE(lookup);
    std::mt19937 random(9);
    int failed = 0;
    for (const std::uintmax_t size : {100'000u, 20'000u, 400u}) {
        std::filesystem::resize_file(names_[1], size);
        for (int i = 0; i < 50; ++i) {
            const float at[] = {4 + 4 * Coordinate(random), 4 + 4 * Coordinate(random), 4};
            std::int32_t files[30];
            std::int64_t indexes[30];
            PtcNearestArrays arrays;
            arrays.files = files;
            arrays.indexes = indexes;
            std::int32_t found = -1;
            if (!lookup.Nearest({at}, {30}, arrays, &found)) {
                ++failed;
                EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kUnreadable);
            }
            ASSERT_EQ(found, 30) << "the other file alone has as many";
            const std::vector<PlainFound> right = other.Nearest({at}, {30});
            std::size_t own = 0;
            for (int k = 0; k < found; ++k) {
                if (files[k] == 0) {
                    ASSERT_EQ(indexes[k], right[own++].index);
                }
            }
        }
    }
    EXPECT_GT(failed, 50);
}

TEST_F(Lookup, UsesTheFirstHundredFilesAndTellsWhichItCannotUse) {
    for (int i = 0; i < 101; ++i) OpenBytes(BytesOf({20, i % 2 == 0}));
    {
        const PtcLookup lookup = Made();
        EXPECT_FALSE(lookup);
        ASSERT_EQ(told_.size(), 1u);
        EXPECT_EQ(told_[0].substr(0, 6), "T43053");
        EXPECT_TRUE(lookup.UsesFile(99));
        EXPECT_FALSE(lookup.UsesFile(100));
        names_.pop_back();
        ManyPlaces places;
        places.positions = {4, 4, 4};
        EXPECT_EQ(DifferenceOfNearest(lookup, Plain(), places, {1000}), "");
    }
    End();

    told_.clear();
    const std::string limit = "/lumrd/pointcloudmemory 100\n";
    ConfigReadFile(WriteTo(folder_.File("ini"), limit).c_str());
    OpenBytes(BytesOf({300, false}));
    OpenBytes(BytesOf({50'000, false}));
    OpenBytes(BytesOf({50'000}));
    {
        const PtcLookup lookup = Made();
        EXPECT_FALSE(lookup);
        EXPECT_NE(std::string(PtcLastFailure().text).find(names_[1]), std::string::npos);
        ASSERT_EQ(told_.size(), 1u);
        EXPECT_EQ(told_[0].substr(0, 6), "T43054");
        EXPECT_NE(told_[0].find("ptc organize"), std::string::npos) << told_[0];
        EXPECT_TRUE(lookup.UsesFile(0) && !lookup.UsesFile(1) && lookup.UsesFile(2));
        ManyPlaces places;
        places.positions = {4, 4, 4};
        names_[1] = "";
        EXPECT_EQ(DifferenceOfNearest(lookup, Plain(), places, {1000}), "");
    }
    ConfigReadFile(WriteTo(folder_.File("ini"), "/lumrd/pointcloudmemory 1048576\n").c_str());
}

TEST_F(Lookup, RefusesWhatItCannotAnswer) {
    OpenBytes(BytesOf({300}));
    PtcManagedFile* const files[] = {files_[0].Get(), nullptr};
    const PtcLookup lookup({files, 2, kVariables, 2});
    EXPECT_FALSE(lookup);
    EXPECT_TRUE(lookup.UsesFile(0));
    for (const int none : {-1, 1, 2}) EXPECT_FALSE(lookup.UsesFile(none));
    const float at[] = {4, 4, 4};
    std::int32_t found = -1;
    const auto is_refused = [](bool answered) {
        return !answered && PtcLastFailure().code == PtcFailureCode::kBadArgument;
    };
    for (const std::int32_t most : {0, -1, 65537})
        EXPECT_TRUE(is_refused(lookup.Nearest({at}, {most}, {}, &found))) << most;
    EXPECT_TRUE(is_refused(lookup.Nearest({}, {}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.Nearest({at}, {}, {}, nullptr)));
    EXPECT_TRUE(is_refused(lookup.Nearest({at}, {8, kNaN}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.NearestOfMany({-1, at}, {}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.NearestOfMany({1, nullptr}, {}, {}, &found)));
    EXPECT_TRUE(is_refused(lookup.Sample({at}, {}, nullptr, nullptr)));
    EXPECT_TRUE(lookup.Nearest({at}, {65536}, {}, &found));
    EXPECT_EQ(found, 300);
    EXPECT_TRUE(lookup.NearestOfMany({}, {}, {}, nullptr));
    const PtcLookup nothing({});
    EXPECT_TRUE(nothing.Nearest({at}, {}, {}, &found));
    EXPECT_EQ(found, 0);
}

}  // namespace
