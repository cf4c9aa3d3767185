// ExactSum: carrying, and the one rounding.

#include "util/math/exact_sum.h"

#include <cmath>

void ExactSum::AddProduct(double a, double b) {
    const double product = a * b;
    Add(product);
    Add(std::fma(a, b, -product));
}

void ExactSum::Merge(const ExactSum& other) {
    Carry();
    ExactSum carried = other;
    carried.Carry();
    for (std::size_t i = 0; i < kDigits; ++i) digits_[i] += carried.digits_[i];
    Carry();
}

double ExactSum::Value() const {
    ExactSum size = *this;
    size.Carry();
    const bool is_negative = size.digits_.back() < 0;
    if (is_negative) size.Negate();
    std::size_t top = kDigits;
    while (top > 0 && size.digits_[top - 1] == 0) --top;
    if (top == 0) return 0;

    // The first 64 bits, of which the first is set; a bit behind them that is set stands in their
    // last one, so that their conversion rounds as if it saw it.
    std::uint64_t head = 0;
    for (std::size_t i = 1; i <= 4; ++i) head = head << kDigitBits | size.Digit(top - i);
    const int shift = std::countl_zero(head);
    const std::uint64_t next = size.Digit(top - 5) << shift;
    head = head << shift | next >> kDigitBits;
    bool has_more = next % (1U << kDigitBits) != 0;
    for (std::size_t i = 6; i <= top && !has_more; ++i) has_more = size.Digit(top - i) != 0;
    head |= has_more ? 1 : 0;

    // Below the normal numbers there are fewer than 53 bits, and so scaling never rounds again.
    const int exponent = static_cast<int>(top * kDigitBits) - shift - 64 - int{kLeastExponent};
    const double value = std::ldexp(static_cast<double>(head), exponent);
    return is_negative ? -value : value;
}

std::vector<double> ExactSum::Parts() const {
    std::vector<double> parts;
    ExactSum rest = *this;
    for (double part = rest.Value(); part != 0 && std::isfinite(part); part = rest.Value()) {
        parts.push_back(part);
        rest.Add(-part);
    }
    return parts;
}

void ExactSum::Carry() {
    for (std::size_t i = 0; i + 1 < kDigits; ++i) {
        const std::int64_t carried = digits_[i] >> kDigitBits;  // rounds down
        digits_[i + 1] += carried;
        digits_[i] -= carried << kDigitBits;
    }
    waiting_ = 0;
}

void ExactSum::Negate() {
    for (std::int64_t& digit : digits_) digit = -digit;
    Carry();
}

/// 0 below the lowest, whose index has wrapped around.
std::uint64_t ExactSum::Digit(std::size_t index) const {
    return index < kDigits ? static_cast<std::uint64_t>(digits_[index]) : 0;
}
