// Cameras: what a matrix has to be to count as one, and what a fitted one sees.

#include "tools/ptc/view_camera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace view {

namespace {

using Matrix = std::array<float, 16>;

constexpr Matrix kGood = {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 1, 0, 0, -0.1f, 4};

TEST(PtcViewCamera, MatricesThatAreNoCamerasAreRefused) {
    Matrix identity{};
    for (std::size_t i = 0; i < 16; i += 5) identity[i] = 1;
    Matrix flat = kGood;
    flat[5] = 0;
    Matrix infinite = kGood;
    infinite[13] = std::numeric_limits<float>::infinity();
    Matrix unknown = kGood;
    unknown[2] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(CameraOfMatrix(kGood, {1, 1, 1}));
    for (const Matrix& matrix : {identity, Matrix{}, flat, infinite, unknown})
        EXPECT_FALSE(CameraOfMatrix(matrix, {1, 1, 1}));
}

TEST(PtcViewCamera, TheFileFrameKeepsItsShapeInTheMiddle) {
    const auto camera = CameraOfMatrix(kGood, {400, 200, 1});
    ASSERT_TRUE(camera);
    double x = 0;
    double y = 0;
    // At z = 1 the depth is 5, so 2 x / 5 and 3 y / 5 are the device coordinates.
    ASSERT_TRUE(camera->Project({2.5, 5.0 / 3, 1}, &x, &y));
    EXPECT_DOUBLE_EQ(x, 300);
    EXPECT_NEAR(y, 0, 1e-9);
    EXPECT_FALSE(camera->Project({0, 0, -5}, &x, &y)) << "behind the eye";
}

/// What a camera sees of a box, as a box around its corners in the raster.
struct Extent {
    double left = 1e300, right = -1e300, top = 1e300, bottom = -1e300;
};

Extent ExtentOf(const Bounds& box, const ViewCamera& camera) {
    Extent extent;
    for (int corner = 0; corner < 8; ++corner) {
        double x = 0, y = 0;
        EXPECT_TRUE(camera.Project(
            {corner & 1 ? box.low.x : box.high.x, corner & 2 ? box.low.y : box.high.y,
             corner & 4 ? box.low.z : box.high.z},
            &x, &y));
        extent.left = std::min(extent.left, x);
        extent.right = std::max(extent.right, x);
        extent.top = std::min(extent.top, y);
        extent.bottom = std::max(extent.bottom, y);
    }
    return extent;
}

TEST(PtcViewCamera, AFittedCameraSeesAllOfTheBoxInTheMiddleAndFillsThePicture) {
    const struct {
        Bounds box;
        bool is_solid;  // and not a line or a point, which may look like nothing
    } cases[] = {
        {{{-1, -1, -1}, {1, 1, 1}}, true},       {{{100, 200, 300}, {101, 202, 340}}, true},
        {{{0, 0, 0}, {5, 0, 0}}, false},         {{{2, 2, 2}, {2, 2, 2}}, false},
        {{{-3e38, -1, 0}, {3e38, 1, 0}}, false}, {{{0, 0, 0}, {0, 0, 1e-30}}, false},
    };
    const Direction directions[] = {{30, 20}, {0, 0}, {-120, 90}, {360, -90}, {45, -30}};
    for (const auto& [box, is_solid] : cases) {
        for (const Direction& direction : directions) {
            const double width = direction.turn == 45 ? 50 : 300;
            const Extent seen =
                ExtentOf(box, FittedCamera(box, direction, {width, 100, width / 100}));
            EXPECT_GT(seen.left, 0);
            EXPECT_GT(seen.top, 0);
            EXPECT_NEAR(seen.left, width - seen.right, 1e-4) << "not in the middle";
            EXPECT_NEAR(seen.top, 100 - seen.bottom, 1e-4) << "not in the middle";
            EXPECT_TRUE(!is_solid || seen.left < 0.05 * width || seen.top < 5);
        }
    }
}

TEST(PtcViewCamera, TurnGoesToTheRightAndTiltUp) {
    const Bounds box = {{-1, -1, -1}, {1, 1, 1}};
    // Nearer things look larger: the side that the eye has gone to gets nearer.
    const auto depth = [&](const Direction& direction, const Vector3& p) {
        return FittedCamera(box, direction, {100, 100, 1}).w.At(p);
    };
    EXPECT_LT(depth({0, 0}, {0, 0, -1}), depth({0, 0}, {0, 0, 1}));
    EXPECT_LT(depth({60, 0}, {1, 0, 0}), depth({60, 0}, {-1, 0, 0}));
    EXPECT_LT(depth({0, 60}, {0, 1, 0}), depth({0, 60}, {0, -1, 0}));
}

}  // namespace

}  // namespace view
