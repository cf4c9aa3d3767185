// Colouring: choosing a variable, and from its floats to a colour.

#include "tools/ptc/view/colouring.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/common/failure.h"
#include "tools/ptc/variable_list.h"
#include "tools/ptc/view/colour_map.h"

namespace view {

namespace {

constexpr const char* kNormal = "normal";
constexpr const char* kRadius = "radius";

/// The names that can be chosen, for the message about a wrong one.
std::string Choices(const CloudVariables& variables) {
    std::string list;
    for (const std::string& name : variables.names) list += name + ", ";
    return list + kNormal + ", " + kRadius;
}

}  // namespace

std::optional<ColourKind> KindOf(const Variable& variable) {
    // An array of colors begins like a color, but is more than one.
    const auto is = [&](std::string_view word, std::int32_t floats) {
        return variable.type.starts_with(word) && variable.size == floats;
    };
    if (is("color", 3)) return ColourKind::kLight;
    if (is("float", 1)) return ColourKind::kValue;
    if (is("normal", 3) || is("vector", 3)) return ColourKind::kDirection;
    return std::nullopt;
}

Colouring::Colouring(const CloudVariables& variables, const std::string& name) : name_(name) {
    if (name.empty()) {
        ChooseDefault(variables);
    } else if (ChooseVariable(variables, name) || name == kNormal) {
        // Nothing is left to do: the members' initial values choose the normal.
    } else if (name == kRadius) {
        kind_ = Kind::kValue;
        source_ = Source::kRadius;
    } else if (!ChooseComponent(variables, name)) {
        throw Failure(fmt::format("no variable {}; there are {}", name, Choices(variables)));
    }
}

/// Leaves the normal chosen when there is neither a color nor a float.
void Colouring::ChooseDefault(const CloudVariables& variables) {
    for (const std::string_view type : {"color", "float"}) {
        for (const Variable& variable : ListVariables(variables)) {
            const std::int32_t size = type == "color" ? 3 : 1;
            if (!variable.type.starts_with(type) || variable.size != size) continue;
            // Of two variables of one name the first is chosen, which may not be this one.
            name_ = variable.name;
            ChooseVariable(variables, name_);
            return;
        }
    }
    name_ = kNormal;
}

/// False: the cloud has no such variable. Fails for one that a picture cannot show.
bool Colouring::ChooseVariable(const CloudVariables& variables, const std::string& name) {
    const std::vector<Variable> list = ListVariables(variables);
    const auto variable =
        std::find_if(list.begin(), list.end(), [&](const Variable& v) { return v.name == name; });
    if (variable == list.end()) return false;
    const auto kind = KindOf(*variable);
    if (!kind)
        throw Failure(fmt::format("{} is a {}, which has no colour; {}{} is one of its floats",
                                  name, variable->type, name, variable->Suffix(0)));
    kind_ = *kind;
    source_ = Source::kData;
    offset_ = variable->offset;
    return true;
}

/// False: no variable has a float of that name.
bool Colouring::ChooseComponent(const CloudVariables& variables, const std::string& name) {
    for (const Variable& variable : ListVariables(variables)) {
        if (!name.starts_with(variable.name)) continue;
        for (std::int32_t part = 0; part < variable.size; ++part) {
            if (name != variable.FloatName(part)) continue;
            kind_ = Kind::kValue;
            source_ = Source::kData;
            offset_ = variable.offset + static_cast<std::size_t>(part);
            return true;
        }
    }
    return false;
}

void Colouring::SetExposure(double stops) {
    gain_ = static_cast<float>(std::exp2(stops));
}

/// The floats that are shown: one for the colour map, else three.
std::span<const float> Colouring::Values(const PointHead& point,
                                         std::span<const float> data) const {
    if (source_ == Source::kNormal) return point.normal;
    if (source_ == Source::kRadius) return {&point.radius, 1};
    return data.subspan(offset_, kind_ == Kind::kValue ? 1 : 3);
}

bool Colouring::ValueOf(const PointHead& point, std::span<const float> data, double* value) const {
    *value = Values(point, data)[0];
    return std::isfinite(*value);
}

bool Colouring::ColourOf(const PointHead& point, std::span<const float> data, const Srgb& srgb,
                         Rgb* colour) const {
    if (kind_ == Kind::kValue) {
        double value = 0;
        if (!ValueOf(point, data, &value)) return false;
        *colour = MapColour(range_.Share(value));
        return true;
    }
    const std::span<const float> values = Values(point, data);
    const float x = values[0], y = values[1], z = values[2];
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z)) return false;
    if (kind_ == Kind::kLight) {
        const auto light = [&](float value) {
            return static_cast<float>(std::clamp(range_.Share(value) * gain_, 0.0, 1.0));
        };
        *colour = srgb.Encode(Light{light(x), light(y), light(z)});
        return true;
    }
    // Vectors of any length, also those whose square no float holds, are shown by direction.
    const double length = std::sqrt(double{x} * x + double{y} * y + double{z} * z);
    const auto component = [length](float value) {
        const double part = length > 0 ? value / length : 0.0;
        return static_cast<std::uint8_t>(std::lround((part + 1) / 2 * 255));
    };
    *colour = {component(x), component(y), component(z)};
    return true;
}

}  // namespace view
