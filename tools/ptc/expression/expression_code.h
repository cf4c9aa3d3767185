// ExpressionCode: an expression that was checked, in the words of the library that evaluates it.
//
// Units      fields as in tools/ptc/expression/point_fields.h.
// Errors     ExpressionError for everything that the expression may not be.
// Ownership  owns everything.
// Threads    any.
//
// The library never sees what a user wrote, only what follows from tokens that are allowed: it has
// assignments, strings and conventions of its own, and numbers that depend on the locale.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ptc/expression/point_fields.h"

namespace expression {

/// Deepest nesting of brackets and functions.
inline constexpr std::size_t kMostNested = 100;

/// What a value is. Conditions and numbers do not mix.
enum class Type { kNumber, kCondition };

/// A float of many that is computed: where a variable has as many floats, its name alone means the
/// float of the same index.
struct Lane {
    std::size_t index = 0;
    std::size_t count = 1;
};

struct ExpressionCode {
    std::string text;                 ///< its names: v0 on, c0 on, and those of functions
    std::vector<std::size_t> fields;  ///< of v0, v1, ...
    std::vector<double> numbers;      ///< c0, c1, ...
    Type type = Type::kNumber;
};

ExpressionCode Translate(std::string_view expression, const PointFields& fields, Lane lane);

}  // namespace expression
