// ZoneTable: splits the values of entries, finds the rule for a path and applies it.

#include "util/host/zone_table.h"

#include <array>
#include <new>

#include "util/text/words.h"

namespace {

constexpr std::string_view kEveryZone = "*";
constexpr std::string_view kBetweenWords = " \t";

std::string_view WithoutSlashesAtEnd(std::string_view folder) {
    return folder.substr(0, folder.find_last_not_of('/') + 1);  // npos + 1 is 0
}

/// Whether `path` is `folder` or is inside it.
bool LiesIn(std::string_view folder, std::string_view path) {
    if (!path.starts_with(folder)) return false;
    return path.size() == folder.size() || path[folder.size()] == '/';
}

}  // namespace

ZoneTable::~ZoneTable() {
    const Rule* rule = newest_.load(std::memory_order_relaxed);
    while (rule) {
        const Rule* const next = rule->next;
        delete rule;
        rule = next;
    }
}

void ZoneTable::Add(std::string_view value) noexcept {
    std::array<std::string_view, 3> words;
    for (std::string_view& word : words) word = TakeWord(&value, kBetweenWords);
    const auto& [zone, from, to] = words;
    const bool names_this_zone = !zone.empty() && from.empty();
    const bool moves = !to.empty() && TakeWord(&value, kBetweenWords).empty();
    if (!names_this_zone && !moves) return;
    auto* const rule = new (std::nothrow)
        Rule{newest_.load(std::memory_order_relaxed), zone, WithoutSlashesAtEnd(from),
             WithoutSlashesAtEnd(to), names_this_zone};
    if (!rule) return;
    // release: pairs with the acquire in IsEmpty() and of the readers
    while (!newest_.compare_exchange_weak(rule->next, rule, std::memory_order_release,
                                          std::memory_order_relaxed)) {
    }
}

std::string_view ZoneTable::ThisZone(std::string_view otherwise) const noexcept {
    // acquire: pairs with the release in Add()
    for (const Rule* rule = newest_.load(std::memory_order_acquire); rule; rule = rule->next)
        if (rule->names_this_zone) return rule->zone;
    return otherwise;
}

std::optional<std::string> ZoneTable::Place(std::string_view path,
                                            std::string_view architecture) const {
    if (path.empty() || IsEmpty()) return std::nullopt;
    const std::string_view here = ThisZone(architecture);
    const Rule* best = nullptr;
    // acquire: pairs with the release in Add()
    for (const Rule* rule = newest_.load(std::memory_order_acquire); rule; rule = rule->next) {
        if (rule->names_this_zone || !LiesIn(rule->from, path)) continue;
        const std::string_view zone = rule->zone;
        if (zone != here && zone != architecture && zone != kEveryZone) continue;
        // The newest comes first, so an older one has to be longer.
        if (!best || rule->from.size() > best->from.size()) best = rule;
    }
    if (!best) return std::nullopt;
    std::string place = std::string(best->to).append(path.substr(best->from.size()));
    return place.empty() ? "/" : place;
}
