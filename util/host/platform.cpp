// Reads the architecture's name and applies the zones to paths.

#include "util/host/platform.h"

#include <cstdlib>

#include "util/base/process_wide.h"
#include "util/host/config_store.h"

namespace platform {
namespace {

struct Architecture {
    std::string name = "linux-x86-64";

    Architecture() {
        const char* const set = std::getenv("LUMR_ARCHITECTURE");
        if (set && *set) name = set;
    }
};

}  // namespace

void Init() {
    process_wide::The<Architecture>();
}

const char* ArchitectureName() {
    return process_wide::The<Architecture>().name.c_str();
}

std::optional<std::string> ExpandPath(const char* path, const ConfigStore& store) {
    if (!path || !*path) return std::nullopt;
    // Without entries, the architecture's name is not even asked for.
    if (store.Zones().IsEmpty()) return path;
    return store.Zones().Place(path, ArchitectureName()).value_or(path);
}

}  // namespace platform
