// Matrix products, points, the stack, printing and reading.

#include "util/math/matrix.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "tests/support/scratch.h"

namespace {

using Matrix = std::array<float, 16>;
using Point = std::array<float, 4>;

constexpr Matrix kCounting{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

TEST(UtilMatrix, ProductsArePlainSumsInDoubleWhereverTheyAreWritten) {
    std::mt19937 random(1);
    for (int round = 0; round < 100; ++round) {
        Matrix a{}, b{}, product{}, between{}, out{};
        for (std::size_t i = 0; i < 16; ++i) {
            a[i] = static_cast<float>(random() % 3) * (random() % 2 ? 1e8f : -1e8f) + 1;
            b[i] = static_cast<float>(random() % 100);
        }
        for (std::size_t i = 0; i < 16; ++i) {
            double sum = 0;
            for (std::size_t k = 0; k < 4; ++k)
                sum += double{a[i / 4 * 4 + k]} * double{b[4 * k + i % 4]};
            product[i] = static_cast<float>(sum);
            between[i] = a[i] + (b[i] - a[i]) * 0.3f;
        }
        for (const bool onto_left : {true, false}) {
            Matrix left = a, right = b;
            MxMultiply(left, right, onto_left ? left : right);
            ASSERT_EQ(onto_left ? left : right, product);
            left = a, right = b;
            MxLerp(left, right, onto_left ? left : right, 0.3f);
            ASSERT_EQ(onto_left ? left : right, between);
        }
        // A point is a row; here it is one of the matrix itself.
        out = b;
        MxMultiply(b, b, product);
        const auto row = std::span(out).subspan<8, 4>();
        MxTransform4(row, row, out);
        ASSERT_TRUE(std::equal(row.begin(), row.end(), product.begin() + 8));
    }
}

TEST(UtilMatrix, PointsAreDividedUnlessWIsZero) {
    const Matrix move{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1};
    Point direction{1, 2, 3, 0}, weighted{1, 2, 3, 2};
    MxTransformPoint(direction, direction, move);
    MxTransformPoint(weighted, weighted, move);
    EXPECT_EQ(direction, (Point{1, 2, 3, 0}));
    EXPECT_EQ(weighted, (Point{10.5f, 21, 31.5f, 1}));
}

TEST(UtilMatrix, StackHoldsThirtyTwo) {
    Matrix out = kCounting;
    testing::internal::CaptureStderr();
    EXPECT_EQ(MxPop(out), -1);
    EXPECT_EQ(out, kCounting);
    for (int i = 0; i < 33; ++i) {
        out[5] = static_cast<float>(i);
        EXPECT_EQ(MxPush(out), i < 32 ? 0 : -1);
    }
    for (int i = 32; i-- > 0;) {
        EXPECT_EQ(MxPop(out), 0);
        EXPECT_EQ(out[5], static_cast<float>(i));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Matrix stack underflowMatrix stack overflow");
}

TEST(UtilMatrix, PrintsFourToARowThroughAFormatThatTakesOneDouble) {
    const auto printed = [] {
        testing::internal::CaptureStdout();
        MxPrint(kCounting);
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_EQ(printed().substr(0, 38), "  0.00000000000000   1.00000000000000 ");
    for (const char* good : {"%f", "%lf ", "100%% %-+ #012.3e|", "%a", "%999.999G", "%g,"})
        EXPECT_TRUE(MxSetPrintFormat(good)) << good;
    for (const char* bad : {"", "no conversion", "%f %f", "%", "%s", "%f%n", "%*f", "%.*f", "%d",
                            "%Lf", "%1$f", "%'f", "%9999f", "%f%"})
        EXPECT_FALSE(MxSetPrintFormat(bad)) << bad;
    EXPECT_FALSE(MxSetPrintFormat(std::string_view("%f\0", 3)));
    EXPECT_FALSE(MxSetPrintFormat(std::string(62, 'x') + "%f"));
    EXPECT_EQ(printed(), "0,1,2,3,\n4,5,6,7,\n8,9,10,11,\n12,13,14,15,\n");
    EXPECT_TRUE(MxSetPrintFormat("%18.14f "));
}

TEST(UtilMatrix, ReadsSixteenValuesAndOneCharacter) {
    const ScratchFolder folder;
    WriteTo(folder.File("m"), "0 1 2 3\n4 5 6 7\n8 9 10 11\n12 13 14 1.5e1\nrest 1 2");
    ASSERT_TRUE(std::freopen(folder.File("m").c_str(), "r", stdin));
    Matrix out{};
    EXPECT_TRUE(MxRead(out));
    EXPECT_EQ(std::getchar(), 'r');
    EXPECT_FALSE(MxRead(out));
    EXPECT_EQ(out, kCounting);
}

}  // namespace
