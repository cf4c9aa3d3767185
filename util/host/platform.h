// The machine's architecture name, and paths that are elsewhere on some machines.
//
// Units      none.
// Errors     a path that cannot be expanded is no path.
// Ownership  answers are copies, but for the name, which lives as long as the shared object.
// Threads    any function from any thread at any time.

#pragma once

#include <optional>
#include <string>
#include <string_view>

class ConfigStore;

namespace platform {

/// Reads the architecture's name; without a call the first question does.
void Init();

/// The environment's "LUMR_ARCHITECTURE" as it was first asked for; "linux-x86-64" when that is
/// unset or empty.
const char* ArchitectureName();

/// Where `path` is on this machine; nothing for a null or an empty path.
///
/// Entries "/dirmap/zone" of `store` move folders. Their value is three words, ZONE FROM TO: in
/// the zone ZONE, which is an architecture name or "*" for all, paths that are FROM or lie in it
/// are at TO instead. The entry read last that applies is used, once. Words hold no blanks; other
/// values are ignored. Without such entries every path is where it says.
std::optional<std::string> ExpandPath(const char* path, const ConfigStore& store);

}  // namespace platform
