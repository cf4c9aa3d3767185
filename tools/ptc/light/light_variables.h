// Light variables: the channels that the values of a point become.
//
// Errors     a Failure that names the file.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/light/light_options.h"

namespace lighting {

/// One channel of a point, and where it goes.
struct Channel {
    std::string name;
    std::size_t from;  ///< its first float among the values of a point
    std::size_t to;    ///< and among the data of the record
    std::size_t floats;
    bool is_new;
};

/// The channels of `kinds`, in the order of the values; those that `variables` lacks are added to
/// it. Fails when one is there with another type. `file`: its name in messages.
std::vector<Channel> Connect(const std::string& file, const Kinds& kinds,
                             CloudVariables* variables);

/// Whether nodes with these variables hold what follows from channels that are written over.
bool ChangeNodes(const std::vector<Channel>& channels, const CloudVariables& nodes);

/// The first float of the variable called `name` among a point's data. Fails when there is none, or
/// it takes another number of floats.
std::size_t Require(const std::string& file, const CloudVariables& variables,
                    const std::string& name, std::int32_t floats);

}  // namespace lighting
