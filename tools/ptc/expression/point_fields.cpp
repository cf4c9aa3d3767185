// Point fields: the list, and the search for a name.

#include "tools/ptc/expression/point_fields.h"

#include <algorithm>

#include "tools/ptc/variable_list.h"

namespace expression {

namespace {

const FieldRun* FindIn(const std::vector<FieldRun>& runs, std::string_view name) {
    const auto found = std::find_if(runs.begin(), runs.end(),
                                    [&](const FieldRun& run) { return run.name == name; });
    return found == runs.end() ? nullptr : &*found;
}

}  // namespace

PointFields::PointFields(const CloudVariables& variables) {
    for (const char* const name : {"x", "y", "z", "nx", "ny", "nz", "radius"})
        own_.push_back({name, own_.size(), 1});
    for (const Variable& variable : ListVariables(variables))
        variables_.push_back({std::string(variable.name), kDataField + variable.offset,
                              static_cast<std::size_t>(variable.size)});
}

const FieldRun* PointFields::Find(std::string_view name, bool is_variable) const {
    const FieldRun* const own = is_variable ? nullptr : FindIn(own_, name);
    return own ? own : FindIn(variables_, name);
}

std::vector<std::string> PointFields::Names(bool is_variable) const {
    std::vector<std::string> names;
    if (!is_variable)
        for (const FieldRun& run : own_) names.push_back(run.name);
    for (const FieldRun& run : variables_) names.push_back(run.name);
    return names;
}

}  // namespace expression
