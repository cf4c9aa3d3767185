// Reading the architecture's name and applying directory zones.

#include "util/host/platform.h"

#include <array>
#include <cstdlib>

#include "util/base/process_wide.h"
#include "util/host/config_store.h"
#include "util/text/words.h"

namespace platform {
namespace {

constexpr std::string_view kZoneKey = "/dirmap/zone";
constexpr std::string_view kEveryZone = "*";
constexpr std::string_view kBlanks = " \t";

struct Architecture {
    std::string name = "linux-x86-64";

    Architecture() {
        const char* const set = std::getenv("LUMR_ARCHITECTURE");
        if (set && *set) name = set;
    }
};

/// The three words of a zone's value; false when there are fewer or more.
bool SplitZone(std::string_view value, std::array<std::string_view, 3>* words) {
    for (std::string_view& word : *words) word = TakeWord(&value, kBlanks);
    return !words->back().empty() && TakeWord(&value, kBlanks).empty();
}

/// Whether `path` is `folder` or lies in it.
bool LiesIn(std::string_view folder, std::string_view path) {
    if (!path.starts_with(folder)) return false;
    return path.size() == folder.size() || folder.back() == '/' || path[folder.size()] == '/';
}

}  // namespace

void Init() {
    process_wide::The<Architecture>();
}

const char* ArchitectureName() {
    return process_wide::The<Architecture>().name.c_str();
}

std::optional<std::string> ExpandPath(const char* path, const ConfigStore& store) {
    if (!path || !*path) return std::nullopt;
    for (const ConfigEntry* entry = store.Newest(); entry; entry = entry->next) {
        std::array<std::string_view, 3> words;
        if (entry->key != kZoneKey || !SplitZone(entry->value, &words)) continue;
        const auto& [zone, from, to] = words;  // the newest entry first, and only one move
        if ((zone == kEveryZone || zone == ArchitectureName()) && LiesIn(from, path))
            return std::string(to).append(path + from.size());
    }
    return std::string(path);
}

}  // namespace platform
