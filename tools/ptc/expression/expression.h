// Expression: a number or a condition that is computed for one point after the other.
//
// Units      those of the point's values; all arithmetic is in double.
// Errors     ExpressionError, when it is made. Computing fails for no point: a division by zero is
//            infinite or NaN, and comparisons with NaN do not hold, except that it is unequal.
// Ownership  owns everything; borrows a point for one call.
// Threads    one caller at a time.
//
// The result is the same on every machine: additions to divisions and square roots, each rounded to
// double, in the order in which they are written.

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "tools/ptc/expression/expression_code.h"

namespace expression {

/// A record of the binary form, and its normal; without one it is decoded where it is needed.
struct PointValues {
    const std::byte* record = nullptr;
    const float* normal = nullptr;
};

class Expression {
public:
    Expression(std::string_view text, const PointFields& fields, Lane lane = {});
    ~Expression();
    Expression(Expression&& other) noexcept;
    Expression& operator=(Expression&& other) noexcept;

    /// A condition is 0 or 1.
    double Of(const PointValues& point);

    Type ResultType() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// An expression that decides about points.
class Condition {
public:
    /// Fails when the expression is a number.
    Condition(std::string_view text, const PointFields& fields);

    bool HoldsFor(const PointValues& point) { return expression_.Of(point) != 0; }

private:
    Expression expression_;
};

}  // namespace expression
