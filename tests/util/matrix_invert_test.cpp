// Matrix inverses: accuracy, when the old content stays, condition numbers, warnings.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "util/matrix.h"

namespace {

using Matrix = std::array<float, 16>;
using Doubles = std::array<double, 16>;

constexpr Matrix kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Doubles Diagonal(double a, double b, double c, double d) {
    return {a, 0, 0, 0, 0, b, 0, 0, 0, 0, c, 0, 0, 0, 0, d};
}

/// The largest element of |a x b| off the diagonal, or its largest distance from 1 on it.
struct Distance {
    double off = 0, on = 0;
};
template <class A, class B>
Distance FromIdentity(const A& a, const B& b) {
    Distance distance;
    for (std::size_t i = 0; i < 16; ++i) {
        double sum = i % 5 == 0 ? -1 : 0;
        for (std::size_t k = 0; k < 4; ++k)
            sum += static_cast<double>(a[i / 4 * 4 + k]) * static_cast<double>(b[4 * k + i % 4]);
        double& largest = i % 5 == 0 ? distance.on : distance.off;
        largest = std::max(largest, std::abs(sum));
    }
    return distance;
}

TEST(UtilMatrixInvert, RandomMatricesTimesTheirInverseAreDiagonal) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> values(-1, 1);
    int judged = 0;
    for (int round = 0; round < 20'000; ++round) {
        SCOPED_TRACE(round);
        Matrix m{};
        for (float& value : m) value = values(random);
        // Every other matrix is stretched in one direction, so that all conditions occur.
        const float stretch = round % 2 ? std::pow(10.0f, 2.5f * (values(random) + 1)) : 1;
        for (std::size_t i = 0; i < 4; ++i) m[i] *= stretch;

        Doubles exact{};
        std::copy(m.begin(), m.end(), exact.begin());
        Doubles inverse{};
        const double condition = MxInvertDouble(exact, inverse);
        if (condition >= 1e5) continue;
        ++judged;
        const Distance in_double = FromIdentity(exact, inverse);
        ASSERT_LT(std::max(in_double.off, in_double.on), 1e-9);

        Matrix out{};
        ASSERT_EQ(MxInvert(m, out), static_cast<float>(condition));
        // Rounding the inverse to float costs this much by itself, for the worst matrices.
        ASSERT_LT(FromIdentity(m, out).off, std::max(1e-4, condition * 0x1p-23)) << condition;

        Doubles onto_double = exact;
        ASSERT_EQ(MxInvertDouble(onto_double, onto_double), condition);
        ASSERT_EQ(onto_double, inverse);
        Matrix cofactors{};
        const float determinant = MxCofactorInvert(m, cofactors);
        ASSERT_EQ(determinant, MxDeterminant(m));
        ASSERT_LT(FromIdentity(m, cofactors).off, std::max(1e-4, condition * 0x1p-23));
    }
    EXPECT_GT(judged, 15'000);
}

TEST(UtilMatrixInvert, InPlaceIsTheSameToTheBit) {
    std::mt19937 random(8);
    std::uniform_real_distribution<float> values(-1, 1);
    for (int round = 0; round < 1000; ++round) {
        Matrix m{};
        for (float& value : m) value = values(random);
        Matrix apart = m;
        const float condition = MxInvert(m, apart);
        ASSERT_NE(apart, m);
        ASSERT_EQ(MxInvert(m, m), condition);
        ASSERT_EQ(m, apart);
    }
}

TEST(UtilMatrixInvert, ConditionIsLargestOverSmallestSingularValue) {
    const double golden = (3 + std::sqrt(5)) / 2;
    const double c = std::cos(0.7);
    const double s = std::sin(0.7);
    const double infinity = std::numeric_limits<double>::infinity();
    struct Case {
        const char* name;
        Doubles m;
        double condition;
    } const cases[] = {
        {"identity", Diagonal(1, 1, 1, 1), 1},
        {"diagonal with signs", Diagonal(-2, 1000, 4, -8), 500},
        {"permutation", {0, 3, 0, 0, 1, 0, 0, 0, 0, 0, 0, 2, 0, 0, -6, 0}, 6},
        {"rotation, scaled", {c, s, 0, 0, -s, c, 0, 0, 0, 0, 10, 0, 0, 0, 0, 1}, 10},
        {"shear", {1, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, golden},
        {"huge", Diagonal(1e300, 2e300, 1e300, 1e300), 2},
        {"tiny", Diagonal(1e-300, 2e-300, 1e-300, 1e-300), 2},
        {"far apart", Diagonal(1e150, 1e-100, 1, 1), 1e250},
        {"zero", {}, infinity},
        {"a zero row", Diagonal(1, 0, 1, 1), infinity},
        {"equal columns", {1, 1, 0, 0, 2, 2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, infinity},
        {"infinite", Diagonal(1, infinity, 1, 1), infinity},
        {"no number", Diagonal(1, std::nan(""), 1, 1), infinity},
    };
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.name);
        Doubles out{};
        const double condition = MxInvertDouble(tested.m, out);
        if (std::isinf(tested.condition)) {
            EXPECT_EQ(condition, tested.condition);
            EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[15]));
        } else {
            EXPECT_NEAR(condition / tested.condition, 1, 1e-13);
            EXPECT_LT(FromIdentity(tested.m, out).on, 1e-13);
        }
    }
}

// A diagonal of 1, 2, 3, 4, nearly singular when the 4 is replaced.
Matrix Scale(float last) {
    return {1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3, 0, 0, 0, 0, last};
}

TEST(UtilMatrixInvert, ReplacesOnlyWhatIsNoInverseOrAWorseOne) {
    constexpr float kThird = 1.0f / 3;
    const Matrix inverse{1, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, kThird, 0, 0, 0, 0, 0.25f};
    Matrix nearly = inverse;
    nearly[1] = 0.0000999f;
    Matrix worse = inverse;
    worse[1] = 0.000101f;
    Matrix rough = inverse;
    rough[4] = 0.5f;
    Matrix with_nan = inverse;
    with_nan[5] = kNan;
    const Matrix exchange{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 0};
    // m x 0.002 is more nearly diagonal than anything that float makes of this inverse.
    const Matrix awkward{1, 0.4f, 0.3f, 0.2f, 1, 0.4000001f, 0.3f, 0.2f, 0, 0, 1, 0, 0, 0, 0, 1};
    Matrix small{};
    for (std::size_t i = 0; i < 16; i += 5) small[i] = 0.002f;
    Matrix singular = Scale(4);
    singular[0] = 0;
    struct Case {
        const char* name;
        Matrix m, held, result;
        float least, most;  // of the answer
    } const cases[] = {
        {"the inverse", Scale(4), inverse, inverse, 0, 0},
        {"an error of less than 0.0001", Scale(4), nearly, nearly, 0, 0},
        {"an error of more than 0.0001", Scale(4), worse, inverse, 4, 4},
        {"zeros for the identity", kIdentity, {}, kIdentity, 1, 1},
        {"zeros", Scale(4), {}, inverse, 4, 4},
        {"no number", Scale(4), with_nan, inverse, 4, 4},
        {"a zero diagonal", Scale(4), exchange, inverse, 4, 4},
        {"better than the computed one", awkward, small, small, 1e6f, 1e9f},
        {"zeros for a singular matrix", singular, {}, {}, kInfinity, kInfinity},
        {"something for a singular matrix", singular, rough, rough, kInfinity, kInfinity},
        {"an inverse beyond float", Scale(1e-39f), {}, {}, 1e38f, kInfinity},
        {"a matrix of no numbers", Scale(kNan), inverse, inverse, kInfinity, kInfinity},
    };
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.name);
        Matrix out = tested.held;
        testing::internal::CaptureStderr();
        const float condition = MxInvert(tested.m, out);
        const std::string warning = testing::internal::GetCapturedStderr();
        EXPECT_GE(condition, tested.least);
        EXPECT_LE(condition, tested.most);
        EXPECT_EQ(out, tested.result);
        EXPECT_TRUE(condition > 1e8f || warning.empty()) << warning;
    }
}

TEST(UtilMatrixInvert, ZeroDeterminantIsNotCaught) {
    Matrix out{};
    EXPECT_EQ(MxCofactorInvert(Scale(0), out), 0);
    EXPECT_EQ(out[15], kInfinity);
    EXPECT_TRUE(std::isnan(out[1]));
    EXPECT_EQ(MxDeterminant(Scale(4)), 24);
    const Matrix odd{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 3, 0, 7, 8, 9, 1};
    EXPECT_EQ(MxDeterminant(odd), -3);
}

std::string WarningsOf(int calls) {
    testing::internal::CaptureStderr();
    for (int i = 0; i < calls; ++i) {
        Matrix held = kIdentity;
        held[1] = 0.5f;
        MxInvert(Scale(1.5e-9f), held);
    }
    return testing::internal::GetCapturedStderr();
}

TEST(UtilMatrixInvertDeathTest, WarnsTwentyTimesWithTheErrorFoundAtFirst) {
    const std::string warning =
        "MxInvert: Dangerous matrix condition number  2e+09\n"
        "          Maximum off-diagonal product error 0.5\n"
        "          Original matrix:\n"
        "                         1               0               0               0\n"
        "                         0               2               0               0\n"
        "                         0               0               3               0\n"
        "                         0               0               0  1.50000001e-09\n";
    std::string twenty;
    for (int i = 0; i < 20; ++i) twenty += warning;
    // In a process of its own: the budget is the process's.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(WarningsOf(20) == twenty && WarningsOf(5).empty() ? 0 : 1),
                testing::ExitedWithCode(0), "");
}

}  // namespace
