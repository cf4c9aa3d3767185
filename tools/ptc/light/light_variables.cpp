// Light variables: found among a cloud's, or added.

#include "tools/ptc/light/light_variables.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/clouds/lookup_clouds.h"
#include "tools/common/failure.h"
#include "tools/common/nearest_name.h"
#include "tools/ptc/variable_list.h"

namespace lighting {

namespace {

void ConnectOne(const std::string& file, const char* type, const char* name, std::size_t floats,
                CloudVariables* variables, std::vector<Channel>* channels) {
    const std::size_t from =
        channels->empty() ? 0 : channels->back().from + channels->back().floats;
    for (const Variable& variable : ListVariables(*variables)) {
        if (variable.name != name) continue;
        if (variable.type != type)
            throw Failure(fmt::format("{}: has a variable \"{} {}\" where \"{} {}\" is written",
                                      file, variable.type, name, type, name));
        channels->push_back({name, from, variable.offset, floats, false});
        return;
    }
    channels->push_back({name, from, variables->DataFloats(), floats, true});
    AddVariable(type, name, static_cast<std::int32_t>(floats), variables);
}

/// Whether a node's `variable` is made of the points' one called `name`: itself, or as light.
bool IsMadeOf(const std::string& variable, const std::string& name) {
    return variable == name || (variable.starts_with("light") && variable.ends_with(':' + name));
}

}  // namespace

std::vector<Channel> Connect(const std::string& file, const Kinds& kinds,
                             CloudVariables* variables) {
    std::vector<Channel> channels;
    if (kinds.occlusion) ConnectOne(file, "float", "_occlusion", 1, variables, &channels);
    if (kinds.indirect) ConnectOne(file, "color", "_indirect", 3, variables, &channels);
    if (kinds.subsurface) ConnectOne(file, "color", "_subsurface", 3, variables, &channels);
    return channels;
}

bool ChangeNodes(const std::vector<Channel>& channels, const CloudVariables& nodes) {
    return std::any_of(channels.begin(), channels.end(), [&](const Channel& channel) {
        return !channel.is_new && std::any_of(nodes.names.begin(), nodes.names.end(),
                                              [&](const std::string& variable) {
                                                  return IsMadeOf(variable, channel.name);
                                              });
    });
}

std::size_t Require(const std::string& file, const CloudVariables& variables,
                    const std::string& name, std::int32_t floats) {
    const std::vector<Variable> all = ListVariables(variables);
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Variable& one) { return one.name == name; });
    if (found == all.end()) {
        const std::string nearest = NearestName(name, variables.names);
        throw Failure(fmt::format("{}: no variable \"{}\"{}", file, name,
                                  nearest.empty() ? "" : "; the nearest is " + nearest));
    }
    if (found->size != floats)
        throw Failure(fmt::format("{}: its variable \"{}\" takes {} floats, not {}", file, name,
                                  found->size, floats));
    return found->offset;
}

}  // namespace lighting
