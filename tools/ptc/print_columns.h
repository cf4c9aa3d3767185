// Columns of printed points and nodes: which floats are chosen, and what their titles are.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ptc/format/cloud_header.h"

/// One float of each printed row.
struct PrintColumn {
    std::string title;
    std::size_t source;  ///< its place among the row's floats
};

/// Something with a name that a user may choose: one or more neighbouring floats.
struct PrintGroup {
    std::string name;
    std::vector<PrintColumn> columns;
};

/// The groups of a row whose own floats come first, and then those of `variables`, `first` on.
/// A color's columns end in _r _g _b, those of other types of three in _x _y _z, others in _0 on.
std::vector<PrintGroup> VariableGroups(const CloudVariables& variables, std::size_t first);

/// The groups that `names` chooses, separated by commas, in its order; all of them when it is
/// empty. Where a variable and one of the row's own groups have the same name, it is the variable.
/// Fails, naming what there is, when a name is not there.
std::vector<PrintGroup> ChooseGroups(const std::vector<PrintGroup>& groups,
                                     const std::string& names);

/// The columns of `groups`, one behind the other.
std::vector<PrintColumn> ColumnsOf(const std::vector<PrintGroup>& groups);
