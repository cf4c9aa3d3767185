// Matrix products, transformed points, blending, the stack.

#include "util/math/matrix.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace {

constexpr std::size_t kStackMatrices = 32;

/// The process's stack; constant-initialised, so loading the shared object runs no code for it.
struct MatrixStack {
    std::array<std::array<float, 16>, kStackMatrices> matrices;
    std::size_t depth;
};
constinit MatrixStack stack{};

/// Row vector times matrix. Another order of the sum would round differently and change files.
std::array<float, 4> RowTimes(std::span<const float, 4> row, std::span<const float, 16> m) {
    std::array<float, 4> product{};
    for (std::size_t column = 0; column < 4; ++column) {
        double sum = 0;
        for (std::size_t i = 0; i < 4; ++i)
            sum += static_cast<double>(row[i]) * static_cast<double>(m[4 * i + column]);
        product[column] = static_cast<float>(sum);
    }
    return product;
}

}  // namespace

void MxMultiply(std::span<const float, 16> a, std::span<const float, 16> b,
                std::span<float, 16> out) {
    // `out` may be an operand, so no row is stored before all are computed.
    std::array<float, 16> product{};
    for (std::size_t row = 0; row < 4; ++row) {
        const std::array<float, 4> values = RowTimes(a.subspan(4 * row).first<4>(), b);
        std::copy(values.begin(), values.end(), product.begin() + 4 * row);
    }
    std::copy(product.begin(), product.end(), out.begin());
}

void MxTransform4(std::span<const float, 4> p, std::span<float, 4> out,
                  std::span<const float, 16> m) {
    const std::array<float, 4> moved = RowTimes(p, m);
    std::copy(moved.begin(), moved.end(), out.begin());
}

void MxTransformPoint(std::span<const float, 4> p, std::span<float, 4> out,
                      std::span<const float, 16> m) {
    MxTransform4(p, out, m);
    // Divides the floats that MxTransform4() has stored, so both functions agree to the bit.
    const float w = out[3];
    if (w == 0) return;
    for (std::size_t i = 0; i < 3; ++i) out[i] /= w;
    out[3] = 1;
}

void MxLerp(std::span<const float, 16> a, std::span<const float, 16> b, std::span<float, 16> out,
            float t) {
    std::array<float, 16> between{};
    for (std::size_t i = 0; i < 16; ++i) between[i] = a[i] + (b[i] - a[i]) * t;
    std::copy(between.begin(), between.end(), out.begin());
}

int MxPush(std::span<const float, 16> m) {
    if (stack.depth == kStackMatrices) {
        std::fputs("Matrix stack overflow", stderr);
        return -1;
    }
    std::copy(m.begin(), m.end(), stack.matrices[stack.depth++].begin());
    return 0;
}

int MxPop(std::span<float, 16> out) {
    if (stack.depth == 0) {
        std::fputs("Matrix stack underflow", stderr);
        return -1;
    }
    const std::array<float, 16>& top = stack.matrices[--stack.depth];
    std::copy(top.begin(), top.end(), out.begin());
    return 0;
}
