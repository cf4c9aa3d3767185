// ExpressionError: what is wrong with an expression, and at which of its characters.
//
// Units      places in bytes from the expression's start.
// Ownership  copies the expression.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "tools/common/failure.h"

namespace expression {

/// Its text is one line: what is wrong, and at which character.
class ExpressionError : public Failure {
public:
    ExpressionError(std::string_view expression, std::size_t place, const std::string& what);

    /// The same error of an expression that begins at `begin` of the longer text `whole`.
    ExpressionError Within(std::string_view whole, std::size_t begin) const;

    /// Two lines: the expression, or what of it is near the place, and a caret below the place.
    const std::string& Excerpt() const { return excerpt_; }

private:
    std::size_t place_;
    std::string what_;
    std::string excerpt_;
};

/// Runs the work of a command on the file `name`. The answer: its exit status, or `failed` when it
/// threw. The reason is then printed on standard error, with an excerpt where it is an
/// expression's.
int RunWithExpressions(const std::string& name, int failed, const std::function<int()>& work);

}  // namespace expression
