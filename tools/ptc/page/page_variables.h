// The variables of a cloud that a page has room for.
//
// Units      floats of data.
// Errors     a Failure or a view::WrongUsage, as each function says.
// Ownership  variables borrow their texts from the header.
// Threads    any.

#pragma once

#include <string>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/variable_list.h"

namespace page {

/// Of each point. A million points with so many are a page of 29.4 MB at most.
inline constexpr int kMostFloats = 5;

struct VariableChoice {
    std::vector<Variable> shown;  ///< in the file's order
    std::vector<Variable> left_out;
};

/// Throws view::WrongUsage when the variable that `first` names, itself or by one of its floats,
/// has more floats than a page.
void CheckThatItFits(const CloudVariables& variables, const std::string& first);

/// What is shown of `variables`: the one that `first` names, if there is one and it fits, and then
/// one after the other while there is room.
VariableChoice ChooseWhatFits(const CloudVariables& variables, const std::string& first);

/// The variables with the names in `wanted`.
/// Throws view::WrongUsage when they have more floats than a page.
VariableChoice ChooseByName(const CloudVariables& variables,
                            const std::vector<std::string>& wanted);

/// `shown` as the declarations of a cloud that has nothing else.
CloudVariables DeclarationsOf(const std::vector<Variable>& shown);

}  // namespace page
