// The data for light of an octree's nodes: which tree variables they are, and where a node has
// them.
//
// Units      offsets in floats from the start of a node's data; areas in world space.
// Errors     none: a tree without the variables has no such data.
// Ownership  copies the names of channels.
// Threads    any.
//
// The variables stand one behind the other in this order, the last only if there is a colour. With
// a, n and c for area, normal and colour of a point, and p for its position, in sums over all
// points of a node:
//
//   float[6]  lightbox         around the discs: minimum x y z, maximum x y z
//   point     lightcentre      sum of a p / sum of a
//   vector    lightnormal      sum of a n
//   float[6]  lightarea        sum of a n n^T as xx yy zz xy xz yz; the trace is the area of all
//   float[27] lightpower:NAME  for each of three colours: sum of a c n n^T, 6, and sum of a c n, 3
//
// "lightarea:NAME" has its areas from the channel NAME; without a name they are pi r^2 of the
// radii.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ptc/format/cloud_header.h"

namespace light_nodes {

/// Floats of each variable.
inline constexpr std::size_t kBoxFloats = 6;
inline constexpr std::size_t kCentreFloats = 3;
inline constexpr std::size_t kNormalFloats = 3;
inline constexpr std::size_t kMatrixFloats = 6;  ///< xx yy zz xy xz yz
inline constexpr std::size_t kColours = 3;
inline constexpr std::size_t kColourFloats = kMatrixFloats + kNormalFloats;  ///< of one colour
inline constexpr std::size_t kPowerFloats = kColours * kColourFloats;
inline constexpr std::size_t kMostFloats =
    kBoxFloats + kCentreFloats + kNormalFloats + kMatrixFloats + kPowerFloats;
static_assert(kMostFloats == 45);

/// A variable as it is declared.
struct NodeVariable {
    std::string_view type;
    std::string_view name;  ///< or what it begins with: a colon and a channel's name may follow
    std::size_t floats;
};

inline constexpr NodeVariable kBox{"float[6]", "lightbox", kBoxFloats};
inline constexpr NodeVariable kCentre{"point", "lightcentre", kCentreFloats};
inline constexpr NodeVariable kNormal{"vector", "lightnormal", kNormalFloats};
inline constexpr NodeVariable kArea{"float[6]", "lightarea", kMatrixFloats};
inline constexpr NodeVariable kPower{"float[27]", "lightpower", kPowerFloats};

/// Where the data of a node have each variable.
struct LightData {
    std::size_t box = 0;
    std::size_t centre = 0;
    std::size_t normal = 0;
    std::size_t area = 0;
    std::size_t power = 0;  ///< meaningless without `has_power`
    bool has_power = false;
    std::string area_channel;   ///< empty: pi r^2
    std::string power_channel;  ///< meaningless without `has_power`
};

}  // namespace light_nodes

/// Gives the channel `from` the name `to` where the data for light are made of it.
inline void RenameLightChannel(std::string_view from, std::string_view to,
                               CloudVariables* tree_variables) {
    for (const std::string_view variable : {light_nodes::kArea.name, light_nodes::kPower.name}) {
        const std::string begin = std::string(variable) + ':';
        for (std::string& name : tree_variables->names)
            if (name == begin + std::string(from)) name = begin + std::string(to);
    }
}

/// The data for light among `tree_variables`; nothing if they are not all there, in their order.
/// Point variables may have the same names: the ones for light are the last.
inline std::optional<light_nodes::LightData> FindLightData(const CloudVariables& tree_variables) {
    using namespace light_nodes;
    const std::size_t count = tree_variables.names.size();
    /// `channel`: null if no name of one may follow.
    const auto is = [&](std::size_t i, const NodeVariable& wanted, std::string* channel) {
        if (i >= count || tree_variables.types[i] != wanted.type) return false;
        const std::string& name = tree_variables.names[i];
        if (!name.starts_with(wanted.name)) return false;
        const std::string behind = name.substr(wanted.name.size());
        if (!behind.empty() && (!channel || behind[0] != ':')) return false;
        if (channel) *channel = behind.empty() ? behind : behind.substr(1);
        return true;
    };
    std::size_t at = tree_variables.DataFloats();
    for (std::size_t first = count; first-- > 0;) {
        at -= static_cast<std::size_t>(tree_variables.sizes[first]);
        LightData found;
        if (!is(first, kBox, nullptr) || !is(first + 1, kCentre, nullptr) ||
            !is(first + 2, kNormal, nullptr) || !is(first + 3, kArea, &found.area_channel))
            continue;
        found.box = at;
        found.centre = found.box + kBoxFloats;
        found.normal = found.centre + kCentreFloats;
        found.area = found.normal + kNormalFloats;
        found.power = found.area + kMatrixFloats;
        found.has_power = is(first + 4, kPower, &found.power_channel);
        return found;
    }
    return std::nullopt;
}
