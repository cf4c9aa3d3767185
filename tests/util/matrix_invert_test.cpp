// Matrix inverses: accuracy, when the old content stays, condition numbers, warnings.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "util/math/matrix.h"

namespace {

using Matrix = std::array<float, 16>;
using Doubles = std::array<double, 16>;

constexpr Matrix kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// The largest element of |a x b - 1|.
template <class A, class B>
double ErrorOf(const A& a, const B& b) {
    double largest = 0;
    for (std::size_t i = 0; i < 16; ++i) {
        double sum = i % 5 == 0 ? -1 : 0;
        for (std::size_t k = 0; k < 4; ++k)
            sum += double{a[i / 4 * 4 + k]} * double{b[4 * k + i % 4]};
        largest = std::max(largest, std::abs(sum));
    }
    return largest;
}

TEST(UtilMatrixInvert, RandomMatricesTimesTheirInverseAreDiagonalInPlaceToTheBit) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> values(-1, 1);
    int judged = 0;
    for (int round = 0; round < 20'000; ++round) {
        SCOPED_TRACE(round);
        Matrix m{}, out{}, cofactors{};
        for (float& value : m) value = values(random);
        // Every other matrix is stretched in one direction, so that all conditions occur.
        const float stretch = round % 2 ? std::pow(10.0f, 2.5f * (values(random) + 1)) : 1;
        for (std::size_t i = 0; i < 4; ++i) m[i] *= stretch;

        Doubles exact{}, inverse{};
        std::copy(m.begin(), m.end(), exact.begin());
        const double condition = MxInvertDouble(exact, inverse);
        if (condition >= 1e5) continue;
        ++judged;
        ASSERT_LT(ErrorOf(exact, inverse), 1e-9);
        ASSERT_EQ(MxInvertDouble(exact, exact), condition);
        ASSERT_EQ(exact, inverse);

        // Rounding the inverse to float costs this much by itself, for the worst matrices.
        const double most = std::max(1e-4, condition * 0x1p-23);
        ASSERT_EQ(MxInvert(m, out), static_cast<float>(condition));
        ASSERT_LT(ErrorOf(m, out), most);
        ASSERT_EQ(MxCofactorInvert(m, cofactors), MxDeterminant(m));
        ASSERT_LT(ErrorOf(m, cofactors), most);
        ASSERT_EQ(MxInvert(m, m), static_cast<float>(condition));
        ASSERT_EQ(m, out);
    }
    EXPECT_GT(judged, 15'000);
}

TEST(UtilMatrixInvert, ConditionIsLargestOverSmallestSingularValue) {
    const double c = std::cos(0.7), s = std::sin(0.7), no_number = std::nan("");
    const std::pair<Doubles, double> cases[] = {
        {{c, s, 0, 0, -s, c, 0, 0, 0, 0, 10, 0, 0, 0, 0, 1}, 10},  // a rotation, scaled
        {{2, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, (7 + 3 * std::sqrt(5)) / 2},
        {{1e300, 0, 0, 0, 0, -2e300, 0, 0, 0, 0, 1e300, 0, 0, 0, 0, 1e300}, 2},
        {{1e-300, 0, 0, 0, 0, -2e-300, 0, 0, 0, 0, 1e-300, 0, 0, 0, 0, 1e-300}, 2},
        {{1e150, 0, 0, 0, 0, 1e-100, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 1e250},
        {{}, kInfinity},
        {{1, 1, 0, 0, 2, 2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, kInfinity},  // equal columns
        {{1, 0, 0, 0, 0, no_number, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, kInfinity},
    };
    for (const auto& [m, wanted] : cases) {
        Doubles out{};
        const double condition = MxInvertDouble(m, out);
        EXPECT_TRUE(condition == wanted || std::abs(condition / wanted - 1) < 1e-13) << condition;
        EXPECT_EQ(std::isnan(out[0]) && std::isnan(out[15]), std::isinf(wanted));
        EXPECT_FALSE(ErrorOf(m, out) > 1e-13) << wanted;
    }
}

/// A diagonal of 1, 2, 3, 4, nearly singular when the 4 is replaced.
Matrix Scale(float last) {
    return {1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3, 0, 0, 0, 0, last};
}

/// `m` with another element at `at`.
Matrix With(Matrix m, std::size_t at, float value) {
    m[at] = value;
    return m;
}

TEST(UtilMatrixInvert, ReplacesOnlyWhatIsNoInverseOrAWorseOne) {
    const Matrix inverse{1, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1.0f / 3, 0, 0, 0, 0, 0.25f};
    const Matrix nearly = With(inverse, 1, 0.0000999f);
    const Matrix exchange{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 0};
    // m x 0.002 is more nearly diagonal than anything that float makes of this inverse.
    const Matrix awkward{1, 0.4f, 0.3f, 0.2f, 1, 0.4000001f, 0.3f, 0.2f, 0, 0, 1, 0, 0, 0, 0, 1};
    const Matrix small{0.002f, 0, 0, 0, 0, 0.002f, 0, 0, 0, 0, 0.002f, 0, 0, 0, 0, 0.002f};
    const struct {
        Matrix m, held, result;
        float least, most;  // of the answer
    } cases[] = {
        {Scale(4), inverse, inverse, 0, 0},
        {Scale(4), nearly, nearly, 0, 0},
        {Scale(4), With(inverse, 1, 0.000101f), inverse, 4, 4},  // the error is above 0.0001
        {kIdentity, {}, kIdentity, 1, 1},
        {Scale(4), With(inverse, 5, kNan), inverse, 4, 4},
        {Scale(4), exchange, inverse, 4, 4},  // a zero diagonal
        {awkward, small, small, 1e6f, 1e9f},
        {Scale(0), With(inverse, 4, 0.5f), With(inverse, 4, 0.5f), kInfinity, kInfinity},
        {Scale(1e-39f), {}, {}, 1e38f, kInfinity},  // an inverse beyond float
        {Scale(kNan), inverse, inverse, kInfinity, kInfinity},
    };
    for (const auto& tested : cases) {
        Matrix out = tested.held;
        testing::internal::CaptureStderr();
        const float condition = MxInvert(tested.m, out);
        EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), !(condition > 1e8f));
        EXPECT_TRUE(condition >= tested.least && condition <= tested.most) << condition;
        EXPECT_EQ(out, tested.result) << "case " << &tested - cases;
    }
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
    const auto has_warned = [&] {
        std::string twenty;
        for (int i = 0; i < 20; ++i) twenty += warning;
        testing::internal::CaptureStderr();
        for (int i = 0; i < 25; ++i) {
            Matrix held = With(kIdentity, 1, 0.5f);
            MxInvert(Scale(1.5e-9f), held);
        }
        return testing::internal::GetCapturedStderr() == twenty;
    };
    // In a process of its own: the budget is the process's.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(has_warned() ? 30 : 31), testing::ExitedWithCode(30), "");
}

}  // namespace
