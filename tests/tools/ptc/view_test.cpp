// View from file to file: where points stand in the picture, and when there is none.

#include "tools/ptc/view/view.h"

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>

#include "tests/support/clouds.h"
#include "tests/support/scratch.h"
#include "tools/common/failure.h"
#include "tools/ptc/view/colour_map.h"

namespace view {

namespace {

static_assert(sizeof(Rgb) == 3, "a pixel as libpng gives it");

constexpr Rgb kBackground{0x28, 0x28, 0x28};

/// A point with a colour and a value.
struct TestPoint {
    PointHead head;
    float data[4];
};

using Matrix = std::array<float, 16>;

/// x and y from -1 to 1 are the picture, z goes away from the eye.
constexpr Matrix kFlatView = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1};
constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// Red on the left, green on the right and nearer, blue above in the far.
std::vector<TestPoint> ThreePoints() {
    return {{{{-0.5f, 0, 0}, {0, 0, -1}, 0.2f}, {1, 0, 0, 10}},
            {{{0.5f, 0, -1}, {0, 0, 1}, 0.2f}, {0, 1, 0, 20}},
            {{{0, 0.5f, 1}, {0, 0, -1}, 0.2f}, {0, 0, 1, 30}}};
}

std::ptrdiff_t CountOf(const Picture& picture, Rgb colour) {
    return std::count(picture.Pixels().begin(), picture.Pixels().end(), colour);
}

class PtcView : public testing::Test {
protected:
    std::string WriteCloud(const std::vector<TestPoint>& points, const Matrix& world_to_ndc) {
        const char* const types[] = {"color", "float"};
        const char* const names[] = {"light", "value"};
        const MemoryCloud made(
            {nullptr, {2, types, names}, {}, nullptr, world_to_ndc.data(), {100, 100, 1}});
        for (const TestPoint& point : points) made.Add(point.head, point.data);
        return WriteTo(folder_.File("cloud.ptc"), made.Finished());
    }

    ViewOptions Options(const std::vector<TestPoint>& points,
                        const Matrix& world_to_ndc = kFlatView) {
        ViewOptions options;
        options.input = WriteCloud(points, world_to_ndc);
        options.output = folder_.File("picture.png");
        options.size = {100, 100};
        return options;
    }

    static Picture Draw(const ViewOptions& options) {
        View(options);
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        EXPECT_TRUE(png_image_begin_read_from_file(&image, options.output.c_str()));
        image.format = PNG_FORMAT_RGB;
        std::vector<Rgb> pixels(image.width * image.height);
        EXPECT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
        Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), {});
        for (int i = 0; const Rgb pixel : pixels) {
            picture.Set(i % picture.Width(), i / picture.Width(), pixel);
            ++i;
        }
        return picture;
    }

    ScratchFolder folder_;
};

TEST_F(PtcView, ColoursStandWhereTheFilesCameraSeesThemAndTheBytesAreFixed) {
    ViewOptions options = Options(ThreePoints());
    for (const int margin : {0, 50}) {  // beside the file's frame, which is a square
        options.size->width = 100 + 2 * margin;
        const Picture picture = Draw(options);
        EXPECT_EQ(picture.At(margin + 25, 50), (Rgb{255, 0, 0}));
        EXPECT_EQ(picture.At(margin + 75, 50), (Rgb{0, 255, 0}));
        EXPECT_EQ(picture.At(margin + 50, 25), (Rgb{0, 0, 255}));
        EXPECT_EQ(picture.At(margin + 50, 75), kBackground);
    }
    const std::string first = ContentOf(options.output);
    Draw(options);
    EXPECT_EQ(ContentOf(options.output), first);
    EXPECT_EQ(first.find("tIME"), std::string::npos);
}

TEST_F(PtcView, FloatsHaveALegendOfTheirRange) {
    ViewOptions options = Options(ThreePoints());
    options.variable = "value";
    options.range = ValueRange{10, 30};
    options.size = {200, 238};  // the legend takes 38 rows, which leaves a square
    const Picture picture = Draw(options);
    EXPECT_EQ(picture.At(50, 100), MapColour(0));
    EXPECT_EQ(picture.At(150, 100), MapColour(0.5));
    EXPECT_EQ(picture.At(100, 35), MapColour(1));
    // The bar runs from one end of the map to the other.
    const int bar = 200 + 4 + 7 + 4 + 3;
    EXPECT_EQ(picture.At(8, bar), MapColour(0));
    EXPECT_EQ(picture.At(191, bar), MapColour(1));
    EXPECT_GT(CountOf(picture, {0xE8, 0xE8, 0xE8}), 100) << "the letters";

    options.variable = "light";
    EXPECT_EQ(Draw(options).At(100, bar), kBackground);
}

TEST_F(PtcView, AFittedCameraStandsInWhereTheFilesOwnSeesNothing) {
    std::vector<TestPoint> points = ThreePoints();
    for (TestPoint& point : points) point.head.position[0] += 100;
    Matrix flat = kFlatView, infinite = kFlatView, unknown = kFlatView;
    flat[5] = 0;
    infinite[13] = INFINITY;
    unknown[2] = NAN;
    for (const Matrix& matrix : {kFlatView, kIdentity, Matrix{}, flat, infinite, unknown}) {
        ViewOptions options = Options(points, matrix);
        EXPECT_LT(CountOf(Draw(options), kBackground), 100 * 100 - 300);
        if (matrix == kFlatView) continue;  // a camera, but one that sees nothing of them
        options.camera = CameraChoice::kFile;
        EXPECT_THROW(View(options), Failure);
    }
}

TEST_F(PtcView, AFittedCameraSeesAllOfABoxInTheMiddleAndFillsThePicture) {
    const struct {
        float low[3], high[3];
        bool is_solid;  // and not a line or a point, which may look like nothing
    } boxes[] = {
        {{-1, -1, -1}, {1, 1, 1}, true},         {{100, 200, 300}, {101, 202, 340}, true},
        {{0, 0, 0}, {5, 0, 0}, false},           {{2, 2, 2}, {2, 2, 2}, false},
        {{-3e38f, -1, 0}, {3e38f, 1, 0}, false}, {{0, 0, 0}, {0, 0, 1e-30f}, false},
    };
    for (const auto& [low, high, is_solid] : boxes)
        for (const Direction& direction : {Direction{30, 20}, {-120, 90}, {360, -90}, {45, -30}}) {
            std::vector<TestPoint> corners(8, TestPoint{{}, {1, 1, 1, 0}});
            for (unsigned corner = 0; corner < 8; ++corner)
                for (unsigned axis = 0; axis < 3; ++axis)
                    corners[corner].head.position[axis] =
                        corner >> axis & 1 ? high[axis] : low[axis];
            ViewOptions options = Options(corners, kIdentity);
            options.direction = direction;
            options.size->width = direction.turn == 45 ? 50 : 300;
            const Picture picture = Draw(options);
            int left = 300, right = -1, top = 100, bottom = -1;
            for (int y = 0; y < picture.Height(); ++y)
                for (int x = 0; x < picture.Width(); ++x) {
                    if (picture.At(x, y) == kBackground) continue;
                    left = std::min(left, x), right = std::max(right, x);
                    top = std::min(top, y), bottom = std::max(bottom, y);
                }
            EXPECT_GE(std::min(left, top), 0);
            EXPECT_NEAR(left, picture.Width() - 1 - right, 1) << "not in the middle";
            EXPECT_NEAR(top, picture.Height() - 1 - bottom, 1) << "not in the middle";
            EXPECT_TRUE(!is_solid || left <= picture.Width() / 20 || top <= 5);
        }
}

TEST_F(PtcView, TurnGoesToTheRightAndTiltUp) {
    // The side that the eye has gone to gets nearer.
    const struct {
        Direction direction;
        float x, y, z;
    } cases[] = {{{0, 0}, 0, 0, -1}, {{60, 0}, 1, 0, 0}, {{0, 60}, 0, 1, 0}};
    for (const auto& [direction, x, y, z] : cases) {
        ViewOptions options = Options({{{{x, y, z}, {0, 0, 0}, 3}, {1, 0, 0, 0}},
                                       {{{-x, -y, -z}, {0, 0, 0}, 3}, {0, 0, 1, 0}}},
                                      kIdentity);
        options.direction = direction;
        EXPECT_EQ(Draw(options).At(50, 50), (Rgb{255, 0, 0})) << direction.turn;
        WriteCloud({{{{0, 0, 0}, {0, 0, 0}, 3}, {1, 0, 0, 0}}}, kFlatView);
        EXPECT_EQ(Draw(options).At(0, 0), kBackground)
            << "the file's camera sees nothing but the disc";
    }
}

TEST_F(PtcView, PointsThatAreNotFiniteChangeNothing) {
    std::vector<TestPoint> points = ThreePoints();
    for (const float bad : {NAN, INFINITY, -INFINITY}) {
        points.push_back({{{bad, 0, 0}, {0, 0, 1}, 0.2f}, {1, 1, 1, 99}});
        points.push_back({{{0, 0, 0}, {0, 0, 1}, std::fabs(bad)}, {1, 1, 1, 99}});
    }
    for (const char* variable : {"light", "value", "radius", "normal"}) {
        ViewOptions options = Options(ThreePoints());
        options.variable = variable;
        options.camera = *variable == 'l' ? CameraChoice::kAutomatic : CameraChoice::kFit;
        const Picture expected = Draw(options);
        WriteCloud(points, kFlatView);
        EXPECT_EQ(Draw(options).Pixels(), expected.Pixels()) << variable;
    }
}

TEST_F(PtcView, ACloudWithoutPointsIsRefused) {
    EXPECT_THROW(View(Options({})), Failure);
}

}  // namespace

}  // namespace view
