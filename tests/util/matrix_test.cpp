// Matrix products, points, the stack, printing and reading.

#include "util/matrix.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "tests/support/scratch.h"

namespace {

using Matrix = std::array<float, 16>;
using Point = std::array<float, 4>;

constexpr Matrix kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr Matrix kCounting{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

Matrix RandomMatrix(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> values(-2, 2);
    Matrix m{};
    for (float& value : m) value = values(random);
    return m;
}

TEST(UtilMatrix, ProductsSumInDoubleAndLerpStartsAtTheFirst) {
    Matrix m = kIdentity;
    m[1] = 2;  // row 0, column 1
    Matrix product{};
    MxMultiply(m, kCounting, product);
    EXPECT_EQ(product, (Matrix{8, 11, 14, 17, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));

    MxLerp(kCounting, kIdentity, product, 0.25f);
    EXPECT_EQ(product[0], 0.25f);
    EXPECT_EQ(product[14], 10.5f);

    // In float the 1 would be lost beside 1e8.
    const Matrix wide{1e8f, 1, -1e8f, 0};
    Matrix ones{};
    ones.fill(1);
    MxMultiply(wide, ones, product);
    EXPECT_EQ(product[0], 1);
}

// Every operation with a matrix destination, run into a copy of each of its operands.
TEST(UtilMatrix, DestinationMayBeAnOperand) {
    using Operation = std::function<void(const Matrix&, const Matrix&, Matrix&)>;
    const std::pair<const char*, Operation> operations[] = {
        {"MxMultiply", [](auto& a, auto& b, auto& out) { MxMultiply(a, b, out); }},
        {"MxLerp", [](auto& a, auto& b, auto& out) { MxLerp(a, b, out, 0.3f); }},
        {"MxCofactorInvert", [](auto& a, auto&, auto& out) { MxCofactorInvert(a, out); }},
    };
    for (const auto& [name, run] : operations) {
        SCOPED_TRACE(name);
        const Matrix a = RandomMatrix(1);
        const Matrix b = RandomMatrix(2);
        Matrix apart{};
        run(a, b, apart);
        Matrix onto = a;
        run(onto, b, onto);
        EXPECT_EQ(onto, apart);
        if (std::string_view(name) == "MxCofactorInvert") continue;  // has one operand
        onto = b;
        run(a, onto, onto);
        EXPECT_EQ(onto, apart);
        run(a, a, apart);
        onto = a;
        run(onto, onto, onto);
        EXPECT_EQ(onto, apart);
    }

    Matrix m = RandomMatrix(3);
    const std::span<float, 4> row = std::span(m).subspan<8, 4>();
    const Matrix before = m;
    Point apart{};
    MxTransform4(std::span(before).subspan<8, 4>(), apart, before);
    MxTransform4(row, row, m);  // a row of the matrix itself
    EXPECT_TRUE(std::equal(row.begin(), row.end(), apart.begin()));
}

TEST(UtilMatrix, PointsAreRowVectorsDividedUnlessWIsZero) {
    Matrix move = kIdentity;
    move[12] = 10, move[13] = 20, move[14] = 30;
    Matrix project = kIdentity;  // w = z
    project[15] = 0, project[11] = 1;
    struct Case {
        const char* name;
        const Matrix& m;
        Point p, divided, undivided;
    } const cases[] = {
        {"translation", move, {1, 2, 3, 1}, {11, 22, 33, 1}, {11, 22, 33, 1}},
        {"direction", move, {1, 2, 3, 0}, {1, 2, 3, 0}, {1, 2, 3, 0}},
        {"weighted", move, {1, 2, 3, 2}, {10.5f, 21, 31.5f, 1}, {21, 42, 63, 2}},
        {"projection", project, {2, 4, -4, 1}, {-0.5f, -1, 1, 1}, {2, 4, -4, -4}},
        {"eye plane", project, {2, 4, 0, 1}, {2, 4, 0, 0}, {2, 4, 0, 0}},
    };
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.name);
        Point out = tested.p;
        MxTransformPoint(out, out, tested.m);
        EXPECT_EQ(out, tested.divided);
        MxTransform4(tested.p, out, tested.m);
        EXPECT_EQ(out, tested.undivided);
    }
}

TEST(UtilMatrix, StackHoldsThirtyTwo) {
    Matrix out = kCounting;
    testing::internal::CaptureStderr();
    EXPECT_EQ(MxPop(out), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Matrix stack underflow");
    EXPECT_EQ(out, kCounting);

    for (int i = 0; i < 32; ++i) {
        out[5] = static_cast<float>(i);
        EXPECT_EQ(MxPush(out), 0);
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(MxPush(kIdentity), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Matrix stack overflow");
    for (int i = 32; i-- > 0;) {
        EXPECT_EQ(MxPop(out), 0);
        EXPECT_EQ(out[5], static_cast<float>(i));
    }
}

std::string Printed(const Matrix& m) {
    testing::internal::CaptureStdout();
    MxPrint(m);
    return testing::internal::GetCapturedStdout();
}

TEST(UtilMatrix, PrintsFourToARowThroughTheFormat) {
    EXPECT_EQ(Printed(kIdentity).substr(0, 77),
              "  1.00000000000000   0.00000000000000   0.00000000000000   0.00000000000000 \n");
    ASSERT_TRUE(MxSetPrintFormat("%g,"));
    EXPECT_EQ(Printed(kCounting), "0,1,2,3,\n4,5,6,7,\n8,9,10,11,\n12,13,14,15,\n");
    EXPECT_TRUE(MxSetPrintFormat("%18.14f "));
}

TEST(UtilMatrix, PrintFormatTakesOneDoubleOrIsRefused) {
    for (const char* good : {"%f", "%lf ", "100%% %-+ #012.3e|", "%a", "%999.999G"}) {
        EXPECT_TRUE(MxSetPrintFormat(good)) << good;
        EXPECT_FALSE(Printed(kIdentity).empty());
    }
    ASSERT_TRUE(MxSetPrintFormat("%.0f"));
    const std::string cut = std::string("%f") + '\0';
    for (const std::string& bad :
         {std::string(), std::string("no conversion"), std::string("%f %f"), std::string("%"),
          std::string("%s"), std::string("%f%n"), std::string("%*f"), std::string("%.*f"),
          std::string("%d"), std::string("%Lf"), std::string("%1$f"), std::string("%'f"),
          std::string("%9999f"), std::string("%f%"), cut, std::string(62, 'x') + "%f"})
        EXPECT_FALSE(MxSetPrintFormat(bad)) << bad;
    EXPECT_EQ(Printed(kIdentity), "1000\n0100\n0010\n0001\n");
    EXPECT_TRUE(MxSetPrintFormat("%18.14f "));
}

TEST(UtilMatrix, ReadsSixteenValuesAndOneCharacter) {
    const ScratchFolder folder;
    const std::string file = folder.File("values");
    std::ofstream(file) << "0 1 2 3\n4 5 6 7\n8 9 10 11\n12 13 14 1.5e1\nrest 1 2";
    ASSERT_TRUE(std::freopen(file.c_str(), "r", stdin));
    Matrix out{};
    EXPECT_TRUE(MxRead(out));
    EXPECT_EQ(out, kCounting);
    EXPECT_EQ(std::getchar(), 'r');
    EXPECT_FALSE(MxRead(out));
    EXPECT_EQ(out, kCounting);
}

}  // namespace
