// Looking up through the public header: every answer is that of a plain walk over all points.

#include "ptc/lookup.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ptc/organise.h"
#include "tests/ptc/lookup_fixture.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/tree_cloud.h"

namespace {

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

bool OrganiseInto(const std::string& input, const std::string& output, int leaf) {
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
    if (form == Form::kOrganised) (void)OrganiseInto(file, file, OneOf(random, {0, 1, 3, 300}));
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
    for (int round = 0; round < Rounds(GetParam().rounds); ++round) {
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
    for (int tree = 0; tree < Rounds(9); ++tree) {
        std::vector<TreePoint> points = RandomPoints(Places::kFar, 3000, random);
        std::partition(points.begin(), points.end(),
                       [](const TreePoint& point) { return point.head.position[0] < 1e19f; });
        TreeShape as_given;
        as_given.is_sorted = false;
        OpenBytes(TreeCloud(points, as_given, random));
        const PtcLookup lookup = Made();
        const PlainLookup plain = Plain();
        for (int i = 0; i < 25; ++i) {
            float away[3];
            Direction(random, away);
            const float* const to = plain.Heads(0)[random() % 3000].position;
            const float* const from = plain.Heads(0)[random() % 3000].position;
            for (const float left : {2.4e19f, 1.5e19f, 1.0f, 0.8f, 0.6f, 0.4f, 0.2f, 0.0f}) {
                ManyPlaces place;
                for (int axis = 0; axis < 3; ++axis)
                    place.positions.push_back(
                        to[axis] + left * (left > 1 ? away[axis] : from[axis] - to[axis]));
                ASSERT_EQ(DifferenceOfNearest(lookup, plain, place, {8, 1.6e19f}), "");
                ASSERT_EQ(DifferenceOfSamples(lookup, plain, place, {1.6e19f}), "");
                if (left > 1) {
                    ASSERT_EQ(DifferenceOfNearest(lookup, plain, place, {8}), "");
                }
            }
        }
        End();
    }
}

// Steps whose squares are nothing in single precision lead from one node to another all the same.
TEST_F(Lookup, ManyStepsThatAreNothingAreAWay) {
    constexpr float kExtent = 1e-16f;
    constexpr float kStep = 2.5e-23f;
    std::mt19937 random(1);
    std::vector<TreePoint> points(6000);
    for (TreePoint& point : points) point.head.position[0] = Coordinate(random) * kExtent;
    OpenBytes(TreeCloud(points, {false}, random));
    const PtcLookup lookup = Made();
    const PlainLookup plain = Plain();
    ManyPlaces place;
    place.positions = {0.22f * kExtent, 0, 0};  // an octant ends at a quarter
    for (int i = 0; i < 200'000; ++i, place.positions[0] += kStep) {
        std::int32_t found = 0;
        ASSERT_TRUE(lookup.Nearest(place[0], {}, {}, &found));
        if (i % 20'000 == 0) {
            ASSERT_EQ(DifferenceOfNearest(lookup, plain, place, {8}), "") << i;
        }
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
    ASSERT_TRUE(OrganiseInto(flat, folder_.File("organised"), 0));
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

}  // namespace
