// The variables of two clouds, put together by name.
//
// Units      none.
// Errors     none.
// Ownership  everything borrows its texts from the two headers.
// Threads    any.

#pragma once

#include <vector>

#include "tools/ptc/variable_list.h"

struct VariablePair {
    Variable a;
    Variable b;

    bool HasSameType() const { return a.type == b.type; }
};

struct VariablePairs {
    std::vector<VariablePair> both;  ///< in the order of the first cloud
    std::vector<Variable> only_a;
    std::vector<Variable> only_b;
    bool has_same_order = true;  ///< of those that both have

    /// Whether both clouds declare the same variables, in any order.
    bool AreSame() const;
};

/// Of several variables with one name, the first ones are a pair, then the second ones.
VariablePairs PairVariables(const CloudVariables& a, const CloudVariables& b);
