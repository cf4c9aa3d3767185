// The variables of two clouds: pairs by name.

#include "tools/ptc/diff/variable_pairs.h"

#include <algorithm>
#include <map>

VariablePairs PairVariables(const CloudVariables& a, const CloudVariables& b) {
    const std::vector<Variable> list_b = ListVariables(b);
    std::map<std::string_view, std::vector<std::size_t>> waiting;  // the first one last
    for (std::size_t i = list_b.size(); i > 0; --i) waiting[list_b[i - 1].name].push_back(i - 1);

    VariablePairs pairs;
    std::vector<bool> is_paired(list_b.size());
    std::size_t next = 0;  // behind the last partner
    for (const Variable& variable : ListVariables(a)) {
        const auto found = waiting.find(variable.name);
        if (found == waiting.end() || found->second.empty()) {
            pairs.only_a.push_back(variable);
            continue;
        }
        const std::size_t partner = found->second.back();
        found->second.pop_back();
        is_paired[partner] = true;
        pairs.has_same_order = pairs.has_same_order && partner >= next;
        next = partner + 1;
        pairs.both.push_back({variable, list_b[partner]});
    }
    for (std::size_t i = 0; i < list_b.size(); ++i)
        if (!is_paired[i]) pairs.only_b.push_back(list_b[i]);
    return pairs;
}

bool VariablePairs::AreSame() const {
    return only_a.empty() && only_b.empty() &&
           std::all_of(both.begin(), both.end(),
                       [](const VariablePair& pair) { return pair.HasSameType(); });
}
