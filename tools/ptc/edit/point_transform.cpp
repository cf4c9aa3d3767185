// Point transform: the inverse, by cofactors, and the points.

#include "tools/ptc/edit/point_transform.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tools/ptc/expression/point_fields.h"

namespace edit {

namespace {

constexpr PointTransform::Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// Of an affine matrix. The answer: the determinant.
double Invert(const PointTransform::Matrix& m, PointTransform::Matrix* inverse) {
    const auto cofactor = [&](std::size_t row, std::size_t column) {
        const std::size_t r1 = (row + 1) % 3, r2 = (row + 2) % 3;
        const std::size_t c1 = (column + 1) % 3, c2 = (column + 2) % 3;
        return m[4 * r1 + c1] * m[4 * r2 + c2] - m[4 * r1 + c2] * m[4 * r2 + c1];
    };
    const double determinant =
        m[0] * cofactor(0, 0) + m[1] * cofactor(0, 1) + m[2] * cofactor(0, 2);
    *inverse = kIdentity;
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            (*inverse)[4 * row + column] = cofactor(column, row) / determinant;
    for (std::size_t column = 0; column < 3; ++column)
        (*inverse)[12 + column] = -(m[12] * (*inverse)[column] + m[13] * (*inverse)[4 + column] +
                                    m[14] * (*inverse)[8 + column]);
    return determinant;
}

bool IsFinite(const PointTransform::Matrix& matrix) {
    return std::all_of(matrix.begin(), matrix.end(),
                       [](double value) { return std::isfinite(value); });
}

}  // namespace

double CubeRoot(double value) {
    int exponent = 0;
    double mantissa = std::frexp(value, &exponent);  // 0.5 to 1
    // An exponent that 3 divides, rounded down also below 0.
    const int third = (exponent - ((exponent % 3 + 3) % 3)) / 3;
    mantissa = std::ldexp(mantissa, exponent - 3 * third);  // 0.5 to 4
    double root = mantissa > 1 ? 1.25 : 0.9;
    // Newton's steps double the number of right digits; six are enough from here.
    for (int step = 0; step < 6; ++step) root = (root + root + mantissa / (root * root)) / 3;
    return std::ldexp(root, third);
}

std::optional<PointTransform> PointTransform::Make(const Matrix& matrix, const char** why) {
    *why = "must be 16 finite numbers";
    if (!IsFinite(matrix)) return std::nullopt;
    *why = "must be affine: 0 0 0 1 down its last column";
    if (matrix[3] != 0 || matrix[7] != 0 || matrix[11] != 0 || matrix[15] != 1) return std::nullopt;
    PointTransform made;
    made.matrix_ = matrix;
    const double determinant = Invert(matrix, &made.inverse_);
    *why = "must have an inverse";
    if (determinant == 0 || !std::isfinite(determinant) || !IsFinite(made.inverse_))
        return std::nullopt;
    made.scale_ = CubeRoot(std::fabs(determinant));
    return made;
}

bool PointTransform::IsIdentity() const {
    return matrix_ == kIdentity;
}

bool PointTransform::TurnsNormals() const {
    const Matrix& m = matrix_;
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            if (m[4 * row + column] != (row == column ? m[0] : 0)) return true;
    return m[0] < 0;
}

void PointTransform::Apply(RecordBatch* batch) const {
    constexpr std::size_t kPosition = expression::RecordOffset(expression::kPositionField);
    constexpr std::size_t kRadius = expression::RecordOffset(expression::kRadiusField);
    const Matrix& m = matrix_;
    const bool turns_normals = TurnsNormals();
    for (std::size_t i = 0; i < batch->count; ++i) {
        float position[3], moved[3], radius = 0;
        std::memcpy(position, batch->Record(i) + kPosition, sizeof position);
        std::memcpy(&radius, batch->Record(i) + kRadius, sizeof radius);
        const auto x = static_cast<double>(position[0]);
        const auto y = static_cast<double>(position[1]);
        const auto z = static_cast<double>(position[2]);
        for (std::size_t k = 0; k < 3; ++k)
            moved[k] = static_cast<float>(x * m[k] + y * m[4 + k] + z * m[8 + k] + m[12 + k]);
        radius = static_cast<float>(static_cast<double>(radius) * scale_);
        std::memcpy(batch->Record(i) + kPosition, moved, sizeof moved);
        std::memcpy(batch->Record(i) + kRadius, &radius, sizeof radius);
        if (turns_normals) Turn(batch->Normal(i));
    }
}

void PointTransform::Turn(float* normal) const {
    const double n[3] = {static_cast<double>(normal[0]), static_cast<double>(normal[1]),
                         static_cast<double>(normal[2])};
    double turned[3];
    for (std::size_t k = 0; k < 3; ++k)
        turned[k] =
            n[0] * inverse_[4 * k] + n[1] * inverse_[4 * k + 1] + n[2] * inverse_[4 * k + 2];
    // In double: a scale may be such that a float holds no square of it.
    const double length =
        std::sqrt(turned[0] * turned[0] + turned[1] * turned[1] + turned[2] * turned[2]);
    for (std::size_t k = 0; k < 3; ++k)
        normal[k] = length > 0 ? static_cast<float>(turned[k] / length) : 0;
}

std::array<float, 16> PointTransform::Camera(const std::array<float, 16>& before) const {
    std::array<float, 16> after{};
    for (std::size_t row = 0; row < 4; ++row)
        for (std::size_t column = 0; column < 4; ++column) {
            double sum = 0;
            for (std::size_t k = 0; k < 4; ++k)
                sum += inverse_[4 * row + k] * static_cast<double>(before[4 * k + column]);
            after[4 * row + column] = static_cast<float>(sum);
        }
    return after;
}

}  // namespace edit
