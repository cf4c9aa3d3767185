// The fields that a name in an expression stands for.
//
// Errors     ExpressionError: an unknown name, with the nearest one; a part that is not there.
// Threads    any.

#pragma once

#include <string_view>

#include "tools/ptc/expression/expression_tokens.h"
#include "tools/ptc/expression/point_fields.h"

namespace expression {

/// The fields of the name `token` in `expression`: all of the name's, or the one that is its part.
/// The run's name is the variable's.
FieldRun FieldsOf(const Token& token, std::string_view expression, const PointFields& fields);

/// A name as expressions write it: in quotes where it is no plain one.
std::string Written(std::string_view name);

}  // namespace expression
