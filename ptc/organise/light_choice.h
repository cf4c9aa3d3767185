// LightChoice: which channels the data for light are made of, and the variables that hold them.
//
// Units      offsets in bytes from the start of a point's data.
// Errors     throws OrganiseError, which names the file, and std::bad_alloc.
// Ownership  copies names.
// Threads    any.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "ptc/format/cloud_header.h"
#include "ptc/organise.h"

struct LightChannel {
    std::string name;
    std::size_t offset = 0;
};

struct LightChoice {
    std::optional<LightChannel> color;  ///< 3 floats; nothing: no power
    std::optional<LightChannel> area;   ///< 1 float; nothing: pi r^2

    /// Appends the tree variables, in the order of ptc/format/light_nodes.h.
    void AppendTo(CloudVariables* tree_variables) const;
};

/// Nothing unless `request` wants light. `points`: the variables of the first input.
std::optional<LightChoice> ChooseLight(const PtcOrganiseRequest& request,
                                       const CloudVariables& points);
