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
    constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    Matrix flat = kGood, infinite = kGood, unknown = kGood;
    flat[5] = 0;
    infinite[13] = std::numeric_limits<float>::infinity();
    unknown[2] = std::numeric_limits<float>::quiet_NaN();
    for (const Matrix& matrix : {kIdentity, Matrix{}, flat, infinite, unknown})
        EXPECT_FALSE(CameraOfMatrix(matrix, {1, 1, 1}));
}

TEST(PtcViewCamera, TheFileFrameKeepsItsShapeInTheMiddle) {
    const auto camera = CameraOfMatrix(kGood, {400, 200, 1});
    ASSERT_TRUE(camera);
    double x = 0, y = 0;
    // At z = 1 the depth is 5, so 2 x / 5 and 3 y / 5 are the device coordinates.
    ASSERT_TRUE(camera->Project({2.5, 5.0 / 3, 1}, &x, &y));
    EXPECT_DOUBLE_EQ(x, 300);
    EXPECT_NEAR(y, 0, 1e-9);
    EXPECT_FALSE(camera->Project({0, 0, -5}, &x, &y)) << "behind the eye";
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
    for (const auto& [box, is_solid] : cases) {
        for (const Direction& direction : {Direction{30, 20}, {-120, 90}, {360, -90}, {45, -30}}) {
            const double width = direction.turn == 45 ? 50 : 300;
            const ViewCamera camera = FittedCamera(box, direction, {width, 100, width / 100});
            double left = 1e300, right = -1e300, top = 1e300, bottom = -1e300;
            for (int corner = 0; corner < 8; ++corner) {
                double x = 0, y = 0;
                EXPECT_TRUE(camera.Project(
                    {corner & 1 ? box.low.x : box.high.x, corner & 2 ? box.low.y : box.high.y,
                     corner & 4 ? box.low.z : box.high.z},
                    &x, &y));
                left = std::min(left, x), right = std::max(right, x);
                top = std::min(top, y), bottom = std::max(bottom, y);
            }
            EXPECT_GT(std::min(left, top), 0);
            EXPECT_NEAR(left, width - right, 1e-4) << "not in the middle";
            EXPECT_NEAR(top, 100 - bottom, 1e-4) << "not in the middle";
            EXPECT_TRUE(!is_solid || left < 0.05 * width || top < 5);
        }
    }
}

TEST(PtcViewCamera, TurnGoesToTheRightAndTiltUp) {
    // The side that the eye has gone to gets nearer.
    const struct {
        Direction direction;
        Vector3 near;
    } cases[] = {{{0, 0}, {0, 0, -1}}, {{60, 0}, {1, 0, 0}}, {{0, 60}, {0, 1, 0}}};
    for (const auto& [direction, near] : cases) {
        const auto camera = FittedCamera({{-1, -1, -1}, {1, 1, 1}}, direction, {100, 100, 1});
        EXPECT_LT(camera.w.At(near), camera.w.At(near * -1)) << direction.turn;
    }
}

}  // namespace

}  // namespace view
