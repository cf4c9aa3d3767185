// Matrix inverses: by cofactors, by singular values, and MxInvert(), which keeps a good inverse.
//
// The singular values come from one-sided Jacobi rotations: pairs of columns are turned until all
// columns are orthogonal. A column's length is then a singular value, so a matrix close to singular
// is recognised, which a small determinant does not show: it also comes from a small scale.

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>

#include "util/math/matrix.h"

namespace {

constexpr float kInverseError = 0.0001f;       // off the diagonal of m x out, for an inverse
constexpr double kDangerousCondition = 1e8;    // a larger one is worth a warning
constexpr double kOrthogonal = 0x1p-50;        // cosine of columns that count as orthogonal
constexpr int kMaxSweeps = 30;                 // about six suffice; rounding could go on for ever
constinit std::atomic<int> warnings_left{20};  // of the process

// --- Cofactors ---

/// The cofactor: the signed determinant of `m` without one row and one column.
double Cofactor(std::span<const float, 16> m, std::size_t row, std::size_t column) {
    std::array<double, 9> rest{};
    std::size_t next = 0;
    for (std::size_t i = 0; i < 16; ++i)
        if (i / 4 != row && i % 4 != column) rest[next++] = static_cast<double>(m[i]);

    const double minor = rest[0] * (rest[4] * rest[8] - rest[5] * rest[7]) -
                         rest[1] * (rest[3] * rest[8] - rest[5] * rest[6]) +
                         rest[2] * (rest[3] * rest[7] - rest[4] * rest[6]);
    return (row + column) % 2 ? -minor : minor;
}

double Determinant(std::span<const float, 16> m) {
    double sum = 0;
    for (std::size_t i = 0; i < 4; ++i) sum += static_cast<double>(m[i]) * Cofactor(m, 0, i);
    return sum;
}

// --- Singular values, by turning pairs of columns until all are orthogonal ---

using Column = std::array<double, 4>;
using Columns = std::array<Column, 4>;

/// The length of a column. Scales it by a power of two, which is exact: without that the squares of
/// very large or very small values would leave the range of double.
double Length(const Column& column) {
    double largest = 0;
    for (const double value : column) largest = std::max(largest, std::abs(value));
    if (largest == 0) return 0;
    const int exponent = std::ilogb(largest);
    double sum = 0;
    for (const double value : column) {
        const double scaled = std::scalbn(value, -exponent);
        sum += scaled * scaled;
    }
    return std::scalbn(std::sqrt(sum), exponent);
}

void Turn(Column* p, Column* q, double cosine, double sine) {
    for (std::size_t i = 0; i < 4; ++i) {
        const double before = (*p)[i];
        (*p)[i] = cosine * before - sine * (*q)[i];
        (*q)[i] = sine * before + cosine * (*q)[i];
    }
}

/// Turns columns `p` and `q` in their plane so that they are orthogonal. False: they already are.
bool Orthogonalise(std::size_t p, std::size_t q, Columns* turned, Columns* turns) {
    const double p_length = Length((*turned)[p]);
    const double q_length = Length((*turned)[q]);
    if (p_length == 0 || q_length == 0) return false;
    double between = 0;  // the cosine of the angle between the columns
    for (std::size_t i = 0; i < 4; ++i)
        between += ((*turned)[p][i] / p_length) * ((*turned)[q][i] / q_length);
    if (std::abs(between) <= kOrthogonal) return false;

    // Two angles make them orthogonal. `zeta` is the cotangent of twice the angle; the tangent with
    // the smaller magnitude turns less and so rounds less.
    const double zeta = (q_length / p_length - p_length / q_length) / (2 * between);
    const double tangent = std::copysign(1 / (std::abs(zeta) + std::sqrt(1 + zeta * zeta)), zeta);
    const double cosine = 1 / std::sqrt(1 + tangent * tangent);
    Turn(&(*turned)[p], &(*turned)[q], cosine, cosine * tangent);
    Turn(&(*turns)[p], &(*turns)[q], cosine, cosine * tangent);
    return true;
}

void OrthogonaliseAll(Columns* turned, Columns* turns) {
    for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
        bool has_turned = false;
        for (std::size_t p = 0; p < 3; ++p)
            for (std::size_t q = p + 1; q < 4; ++q)
                has_turned |= Orthogonalise(p, q, turned, turns);
        if (!has_turned) return;
    }
}

double NoInverse(std::span<double, 16> out) {
    std::fill(out.begin(), out.end(), std::numeric_limits<double>::quiet_NaN());
    return std::numeric_limits<double>::infinity();
}

// --- Judging an inverse ---

/// How far m x candidate is from a diagonal matrix.
struct InverseError {
    float off_diagonal;  ///< NaN when the product holds a NaN
    bool is_measure;     ///< false: the product cannot come from an inverse
};

InverseError ErrorOf(std::span<const float, 16> m, std::span<const float, 16> candidate) {
    std::array<float, 16> product{};
    MxMultiply(m, candidate, product);
    float on = 0;
    float off = 0;
    for (std::size_t i = 0; i < 16; ++i) {
        if (std::isnan(product[i])) return {std::numeric_limits<float>::quiet_NaN(), false};
        float& largest = i % 5 == 0 ? on : off;
        largest = std::max(largest, std::abs(product[i]));
    }
    return {off, on > kInverseError};
}

bool IsFinite(std::span<const float, 16> m) {
    return std::all_of(m.begin(), m.end(), [](float value) { return std::isfinite(value); });
}

void WarnOfCondition(std::span<const float, 16> m, double condition, float error) {
    // Without the first test the counter would fall on every call and wrap around one day.
    if (warnings_left.load(std::memory_order_relaxed) <= 0) return;
    if (warnings_left.fetch_sub(1, std::memory_order_relaxed) <= 0) return;
    flockfile(stderr);  // the lines of one warning stay together
    std::fprintf(stderr, "MxInvert: Dangerous matrix condition number  %g\n", condition);
    std::fprintf(stderr, "          Maximum off-diagonal product error %g\n",
                 static_cast<double>(error));
    std::fputs("          Original matrix:\n", stderr);
    for (std::size_t row = 0; row < 4; ++row) {
        std::fputs("          ", stderr);
        for (const float value : m.subspan(4 * row).first<4>())
            std::fprintf(stderr, " %15.9g", static_cast<double>(value));
        std::fputc('\n', stderr);
    }
    funlockfile(stderr);
}

}  // namespace

float MxDeterminant(std::span<const float, 16> m) {
    return static_cast<float>(Determinant(m));
}

float MxCofactorInvert(std::span<const float, 16> m, std::span<float, 16> out) {
    const double determinant = Determinant(m);
    const double factor = 1 / determinant;
    std::array<float, 16> inverse{};
    for (std::size_t i = 0; i < 16; ++i)
        inverse[i] = static_cast<float>(Cofactor(m, i % 4, i / 4) * factor);
    std::copy(inverse.begin(), inverse.end(), out.begin());
    return static_cast<float>(determinant);
}

double MxInvertDouble(std::span<const double, 16> m, std::span<double, 16> out) {
    double largest = 0;
    for (const double value : m) {
        if (!std::isfinite(value)) return NoInverse(out);
        largest = std::max(largest, std::abs(value));
    }
    if (largest == 0) return NoInverse(out);

    // Scaled by a power of two, which is exact, so that the largest value is near 1.
    const int exponent = std::ilogb(largest);
    Columns turned{};
    Columns turns{};
    for (std::size_t i = 0; i < 16; ++i) {
        turned[i % 4][i / 4] = std::scalbn(m[i], -exponent);
        turns[i % 4][i / 4] = i % 5 == 0 ? 1 : 0;
    }
    OrthogonaliseAll(&turned, &turns);

    // m x turns = turned, whose columns are orthogonal with the singular values as lengths.
    Column lengths{};
    std::transform(turned.begin(), turned.end(), lengths.begin(), Length);
    const auto [least, most] = std::minmax_element(lengths.begin(), lengths.end());
    if (*least == 0) return NoInverse(out);
    for (std::size_t i = 0; i < 16; ++i) {
        double sum = 0;
        for (std::size_t j = 0; j < 4; ++j)
            sum += turns[j][i / 4] * (turned[j][i % 4] / lengths[j]) / lengths[j];
        out[i] = std::scalbn(sum, -exponent);
    }
    return *most / *least;
}

float MxInvert(std::span<const float, 16> m, std::span<float, 16> out) {
    const InverseError held = ErrorOf(m, out);
    if (held.is_measure && held.off_diagonal <= kInverseError) return 0;

    std::array<double, 16> exact{};
    std::copy(m.begin(), m.end(), exact.begin());
    const double condition = MxInvertDouble(exact, exact);
    std::array<float, 16> candidate{};
    std::transform(exact.begin(), exact.end(), candidate.begin(),
                   [](double value) { return static_cast<float>(value); });
    const bool is_better = held.is_measure ? held.off_diagonal > ErrorOf(m, candidate).off_diagonal
                                           : IsFinite(candidate);

    // KEPT: the warning prints the error of the old content, not of the inverse computed here.
    // Test: UtilMatrixInvertDeathTest.WarnsTwentyTimesWithTheErrorFoundAtFirst
    if (condition > kDangerousCondition) WarnOfCondition(m, condition, held.off_diagonal);
    // Last, because `m` may be `out`.
    if (is_better) std::copy(candidate.begin(), candidate.end(), out.begin());
    return static_cast<float>(condition);
}
