// The variables of a page: choosing, in the file's order.

#include "tools/ptc/page/page_variables.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "tools/ptc/view/view.h"

namespace page {

namespace {

/// As view::Colouring understands names: whole variables come before floats.
std::optional<std::size_t> IndexOf(const std::vector<Variable>& list, const std::string& name) {
    for (std::size_t i = 0; i < list.size(); ++i)
        if (list[i].name == name) return i;
    for (std::size_t i = 0; i < list.size(); ++i)
        for (std::int32_t part = 0; name.starts_with(list[i].name) && part < list[i].size; ++part)
            if (list[i].FloatName(part) == name) return i;
    return std::nullopt;
}

VariableChoice Split(const std::vector<Variable>& list, const std::vector<bool>& is_shown) {
    VariableChoice choice;
    for (std::size_t i = 0; i < list.size(); ++i)
        (is_shown[i] ? choice.shown : choice.left_out).push_back(list[i]);
    return choice;
}

}  // namespace

void CheckThatItFits(const CloudVariables& variables, const std::string& first) {
    const std::vector<Variable> list = ListVariables(variables);
    const auto index = IndexOf(list, first);
    if (index && list[*index].size > kMostFloats)
        throw view::WrongUsage(
            "--variable", fmt::format("{} has {} floats; a page has room for {}", list[*index].name,
                                      list[*index].size, kMostFloats));
}

VariableChoice ChooseWhatFits(const CloudVariables& variables, const std::string& first) {
    const std::vector<Variable> list = ListVariables(variables);
    std::vector<bool> is_shown(list.size(), false);
    std::int32_t room = kMostFloats;
    if (const auto index = IndexOf(list, first); index && list[*index].size <= room) {
        is_shown[*index] = true;
        room -= list[*index].size;
    }
    for (std::size_t i = 0; i < list.size(); ++i) {
        // A variable without floats has nothing to show.
        if (is_shown[i] || list[i].size < 1 || list[i].size > room) continue;
        is_shown[i] = true;
        room -= list[i].size;
    }
    return Split(list, is_shown);
}

VariableChoice ChooseByName(const CloudVariables& variables,
                            const std::vector<std::string>& wanted) {
    const std::vector<Variable> list = ListVariables(variables);
    std::vector<bool> is_shown(list.size(), false);
    std::int64_t floats = 0;
    for (std::size_t i = 0; i < list.size(); ++i) {
        is_shown[i] = list[i].size > 0 &&
                      std::find(wanted.begin(), wanted.end(), list[i].name) != wanted.end();
        if (is_shown[i]) floats += list[i].size;
    }
    if (floats > kMostFloats)
        throw view::WrongUsage("--variables", fmt::format("these have {} floats; a page has room "
                                                          "for {}",
                                                          floats, kMostFloats));
    return Split(list, is_shown);
}

CloudVariables DeclarationsOf(const std::vector<Variable>& shown) {
    CloudVariables declared;
    for (const Variable& variable : shown) {
        declared.types.emplace_back(variable.type);
        declared.names.emplace_back(variable.name);
        declared.sizes.push_back(variable.size);
        declared.data_size += variable.size;
    }
    return declared;
}

}  // namespace page
