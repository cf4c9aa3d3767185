// Columns of printed points and nodes.

#include "tools/ptc/print_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "tools/common/failure.h"
#include "tools/common/parts.h"
#include "tools/ptc/variable_list.h"

std::vector<PrintGroup> VariableGroups(const CloudVariables& variables, std::size_t first) {
    std::vector<PrintGroup> groups;
    for (const Variable& variable : ListVariables(variables)) {
        PrintGroup& group = groups.emplace_back();
        group.name = variable.name;
        for (std::int32_t part = 0; part < variable.size; ++part)
            group.columns.push_back({variable.FloatName(part), first++});
    }
    return groups;
}

std::vector<PrintGroup> ChooseGroups(const std::vector<PrintGroup>& groups,
                                     const std::string& names) {
    if (names.empty()) return groups;
    std::vector<PrintGroup> chosen;
    Parts parts(names, ',');
    for (std::string_view name; parts.Next(&name);) {
        // From the back, where the file's own variables are: they come first.
        const auto found =
            std::find_if(groups.rbegin(), groups.rend(),
                         [&](const PrintGroup& group) { return group.name == name; });
        if (found == groups.rend()) {
            std::string there;
            for (const PrintGroup& group : groups)
                there += (there.empty() ? "" : ", ") + group.name;
            throw Failure(fmt::format("no variable \"{}\"; there are {}", name, there));
        }
        chosen.push_back(*found);
    }
    return chosen;
}

std::vector<PrintColumn> ColumnsOf(const std::vector<PrintGroup>& groups) {
    std::vector<PrintColumn> columns;
    for (const PrintGroup& group : groups)
        columns.insert(columns.end(), group.columns.begin(), group.columns.end());
    return columns;
}
