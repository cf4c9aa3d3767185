// The machine's architecture name, and the paths that are elsewhere on some machines.
//
// Units      none.
// Errors     no path for a null or empty one. Throws std::bad_alloc.
// Ownership  paths are copies; the name is valid as long as the shared object is loaded.
// Threads    any function from any thread at any time.

#pragma once

#include <optional>
#include <string>
#include <string_view>

class ConfigStore;

namespace platform {

/// Reads the architecture's name; without this call, the first use does.
void Init();

/// The environment variable "LUMR_ARCHITECTURE" as it was when first read; "linux-x86-64" when it
/// was unset or empty.
const char* ArchitectureName();

/// The place of `path` on this machine; nothing for a null or an empty path.
///
/// Entries "/dirmap/zone" of `store` move folders. Those of one word name the zone of this machine,
/// of which the newest counts; without one it is the architecture's name. Those of three words,
/// ZONE FROM TO, say that in zone ZONE the folder FROM and everything in it is at TO. The zone of
/// this machine, its architecture's name and "*" apply. Of the entries that apply the one with the
/// longest FROM is used, of several with the same FROM the newest; what it gives is not moved
/// again. Slashes at the ends of FROM and TO mean nothing. Words hold no blanks; entries with
/// another number of words are ignored. Without entries a path is unchanged.
std::optional<std::string> ExpandPath(const char* path, const ConfigStore& store);

}  // namespace platform
