// View from file to file: where points stand in the picture, and when there is none.

#include "tools/ptc/view.h"

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>

#include "ptc/writer.h"
#include "tests/support/scratch.h"
#include "tools/common/failure.h"
#include "tools/ptc/colour_map.h"

namespace view {

namespace {

constexpr Rgb kBack{0x28, 0x28, 0x28};

/// A point with a colour and a value.
struct TestPoint {
    PointHead head;
    float data[4];
};

/// x and y from -1 to 1 are the picture, z goes away from the eye.
constexpr float kParallel[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1};

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
    std::string WriteCloud(const std::vector<TestPoint>& points, const float* world_to_ndc) {
        const char* const types[] = {"color", "float"};
        const char* const names[] = {"light", "value"};
        std::string file = folder_.File("cloud.ptc");
        CloudDescription description;
        description.file_name = file.c_str();
        description.point_variables = {2, types, names};
        description.world_to_ndc = world_to_ndc;
        description.format[0] = description.format[1] = 100;
        description.format[2] = 1;
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        EXPECT_TRUE(cloud) << why;
        for (const TestPoint& point : points)
            EXPECT_EQ(WritePoint(*cloud, point.head, point.data), CloudStatus::kOk);
        EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
        return file;
    }

    ViewOptions Options(const std::vector<TestPoint>& points,
                        const float* world_to_ndc = kParallel) {
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
        std::vector<std::uint8_t> bytes(PNG_IMAGE_SIZE(image));
        EXPECT_TRUE(png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr));
        Picture picture(static_cast<int>(image.width), static_cast<int>(image.height), {});
        for (int y = 0, at = 0; y < picture.Height(); ++y)
            for (int x = 0; x < picture.Width(); ++x, at += 3) {
                const auto* rgb = &bytes[static_cast<std::size_t>(at)];
                picture.Set(x, y, {rgb[0], rgb[1], rgb[2]});
            }
        return picture;
    }

    ScratchFolder folder_;
};

TEST_F(PtcView, ColoursStandWhereTheFilesCameraSeesThemAndTheBytesAreFixed) {
    const ViewOptions options = Options(ThreePoints());
    const Picture picture = Draw(options);
    EXPECT_EQ(picture.At(25, 50), (Rgb{255, 0, 0}));
    EXPECT_EQ(picture.At(75, 50), (Rgb{0, 255, 0}));
    EXPECT_EQ(picture.At(50, 25), (Rgb{0, 0, 255}));
    EXPECT_EQ(picture.At(50, 75), kBack);
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
    EXPECT_EQ(Draw(options).At(100, bar), kBack);
}

TEST_F(PtcView, AFittedCameraStandsInWhereTheFilesOwnSeesNothing) {
    std::vector<TestPoint> points = ThreePoints();
    for (TestPoint& point : points) point.head.position[0] += 100;
    for (const float* matrix : {kParallel, static_cast<const float*>(nullptr)}) {
        const Picture picture = Draw(Options(points, matrix));
        EXPECT_LT(CountOf(picture, kBack), 100 * 100 - 300);
        for (int i = 0; i < 100; ++i)
            for (const auto& [x, y] : {std::pair{i, 0}, {i, 99}, {0, i}, {99, i}})
                EXPECT_EQ(picture.At(x, y), kBack);
    }
    ViewOptions options = Options(points, nullptr);
    options.camera = CameraChoice::kFile;
    EXPECT_THROW(View(options), Failure);
}

TEST_F(PtcView, PointsThatAreNotFiniteChangeNothing) {
    for (const char* variable : {"light", "value", "radius", "normal"})
        for (const CameraChoice camera : {CameraChoice::kAutomatic, CameraChoice::kFit}) {
            ViewOptions options = Options(ThreePoints());
            options.variable = variable;
            options.camera = camera;
            const Picture expected = Draw(options);
            std::vector<TestPoint> points = ThreePoints();
            for (const float bad : {NAN, INFINITY, -INFINITY}) {
                points.push_back({{{bad, 0, 0}, {0, 0, 1}, 0.2f}, {1, 1, 1, 99}});
                points.push_back({{{0, 0, 0}, {0, 0, 1}, std::fabs(bad)}, {1, 1, 1, 99}});
            }
            WriteCloud(points, kParallel);
            EXPECT_EQ(Draw(options).Pixels(), expected.Pixels()) << variable;
        }
}

TEST_F(PtcView, ACloudWithoutPointsIsRefused) {
    EXPECT_THROW(View(Options({})), Failure);
}

}  // namespace

}  // namespace view
