// The variables of a cloud: the list, and the suffixes.

#include "tools/ptc/variable_list.h"

std::string Variable::Suffix(std::int32_t part) const {
    if (size == 1) return "";
    if (size != 3 || type.starts_with("float")) return '_' + std::to_string(part);
    const auto at = static_cast<std::size_t>(part);
    return {'_', (type.starts_with("color") ? kColourParts : kVectorParts)[at]};
}

std::vector<Variable> ListVariables(const CloudVariables& variables) {
    std::vector<Variable> list;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < variables.types.size(); ++i) {
        list.push_back({variables.types[i], variables.names[i], variables.sizes[i], offset});
        offset += static_cast<std::size_t>(variables.sizes[i]);
    }
    return list;
}
