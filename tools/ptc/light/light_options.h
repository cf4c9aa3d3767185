// What `ptc light` is asked to do.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ptc/light.h"
#include "util/io/host_port.h"

namespace lighting {

/// Values that a point gets.
struct Kinds {
    bool occlusion = false;
    bool indirect = false;
    bool subsurface = false;

    bool HasAny() const { return occlusion || indirect || subsurface; }
    bool NeedColour() const { return indirect || subsurface; }
};

/// Which channels light is made of; nothing: the usual ones, or those that a cloud is organised
/// with.
struct LightChannels {
    std::optional<std::string> color;
    std::optional<std::string> area;
};

/// How much of the light that falls on a point leaves it again.
struct Albedo {
    std::optional<std::string> channel;
    std::optional<std::array<float, 3>> constant;

    bool IsGiven() const { return channel || constant; }
};

struct Options {
    std::vector<std::string> inputs;
    std::string onto;  ///< empty: the input itself
    std::string output;
    Kinds kinds;  ///< none: the usual ones
    LightChannels channels;
    PtcGathering gathering;
    PtcSubsurface material;
    int bounces = 1;
    Albedo albedo;
    int threads = 1;
    std::int64_t kilobytes = 0;
    bool stats = false;
    std::optional<HostPort> monitor;  ///< that hears how the run goes
};

}  // namespace lighting
