// Finding the channels that the data for light are made of.

#include "ptc/organise/light_choice.h"

#include <string_view>

#include "ptc/format/layout.h"
#include "ptc/format/light_nodes.h"
#include "ptc/organise/organise_error.h"

namespace {

[[noreturn]] void Refuse(const PtcOrganiseRequest& request, const std::string& reason) {
    FailToOrganise(PtcFailureCode::kBadArgument, request.inputs[0], "cannot be organised for light",
                   0, reason);
}

/// The first variable for which `fits(index)` holds.
template <class Fits>
std::optional<LightChannel> FirstThat(const CloudVariables& points, Fits fits) {
    std::size_t offset = 0;
    for (std::size_t i = 0; i < points.names.size(); ++i) {
        if (fits(i)) return LightChannel{points.names[i], offset};
        offset += sizeof(float) * static_cast<std::size_t>(points.sizes[i]);
    }
    return std::nullopt;
}

std::optional<LightChannel> Named(const PtcOrganiseRequest& request, const CloudVariables& points,
                                  const std::string& name, std::int32_t floats) {
    if (name.empty()) return std::nullopt;
    std::int32_t other = 0;
    auto found = FirstThat(points, [&](std::size_t i) {
        if (points.names[i] == name) other = points.sizes[i];
        return points.names[i] == name && points.sizes[i] == floats;
    });
    if (found) return found;
    if (other == 0) Refuse(request, "it has no variable \"" + name + "\"");
    Refuse(request, "variable \"" + name + "\" has " + std::to_string(other) +
                        (other == 1 ? " float" : " floats") + ", where " +
                        (floats == 1 ? "an area has 1" : "a color has 3"));
}

bool IsColor(const CloudVariables& points, std::size_t i) {
    return points.types[i].starts_with("color") && points.sizes[i] == 3;
}

/// What points reflect, without a lamp's own glow, before any other color.
std::optional<LightChannel> UsualColor(const CloudVariables& points) {
    auto reflected = FirstThat(points, [&](std::size_t i) {
        return points.names[i] == "_reflected" && IsColor(points, i);
    });
    if (reflected) return reflected;
    return FirstThat(points, [&](std::size_t i) { return IsColor(points, i); });
}

std::optional<LightChannel> UsualArea(const CloudVariables& points) {
    for (const std::string_view name : {"_area", "area"}) {
        auto found = FirstThat(points, [&](std::size_t i) {
            return points.names[i] == name && points.types[i].starts_with("float") &&
                   points.sizes[i] == 1;
        });
        if (found) return found;
    }
    return std::nullopt;
}

void Append(const light_nodes::NodeVariable& variable, const std::optional<LightChannel>& channel,
            CloudVariables* to) {
    to->types.emplace_back(variable.type);
    to->names.emplace_back(variable.name);
    if (channel) to->names.back() += ':' + channel->name;
    to->sizes.push_back(static_cast<std::int32_t>(variable.floats));
    to->data_size += to->sizes.back();
}

/// A longer declaration would be cut, and so the channel's name.
void CheckLength(const PtcOrganiseRequest& request, const light_nodes::NodeVariable& variable,
                 const std::optional<LightChannel>& channel) {
    if (channel && variable.type.size() + variable.name.size() + 2 + channel->name.size() >
                       ptc_layout::kMaxWrittenDeclaration)
        Refuse(request, "the name of variable \"" + channel->name + "\" is too long");
}

}  // namespace

void LightChoice::AppendTo(CloudVariables* tree_variables) const {
    using namespace light_nodes;
    Append(kBox, {}, tree_variables);
    Append(kCentre, {}, tree_variables);
    Append(kNormal, {}, tree_variables);
    Append(kArea, area, tree_variables);
    if (color) Append(kPower, color, tree_variables);
}

std::optional<LightChoice> ChooseLight(const PtcOrganiseRequest& request,
                                       const CloudVariables& points) {
    if (!request.light) return std::nullopt;
    LightChoice choice;
    choice.color =
        request.light_color ? Named(request, points, request.light_color, 3) : UsualColor(points);
    choice.area =
        request.light_area ? Named(request, points, request.light_area, 1) : UsualArea(points);
    CheckLength(request, light_nodes::kPower, choice.color);
    CheckLength(request, light_nodes::kArea, choice.area);
    return choice;
}
