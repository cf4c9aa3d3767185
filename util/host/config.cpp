// Looks options up, and adds entries to the store.

#include "util/host/config.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>

#include "util/base/process_wide.h"
#include "util/host/config_store.h"

namespace {

constexpr const char* kUsualRoot = "/usr/local/lumrd";

constexpr std::string_view kZoneKey = "/dirmap/zone";

constexpr ConfigWord kBooleanWords[] = {
    {"YES", 1},   {"ON", 1},  {"TRUE", 1},  {"yes", 1}, {"on", 1},  {"true", 1},   // no other case
    {"NO", 0},    {"OFF", 0}, {"FALSE", 0}, {"no", 0},  {"off", 0}, {"false", 0},  // nor here
    {nullptr, 0},
};

}  // namespace

ConfigStore& TheConfigStore() {
    return process_wide::The<ConfigStore>();
}

ConfigStore::~ConfigStore() {
    // A loop: destructors that call each other would overflow the stack on a long list.
    for (const ConfigEntry* entry = Newest(); entry;) {
        const ConfigEntry* const next = entry->next;
        std::free(const_cast<ConfigEntry*>(entry));
        entry = next;
    }
    std::free(const_cast<char*>(root_.load(std::memory_order_relaxed)));
}

const char* ConfigStore::Get(std::string_view key) const noexcept {
    for (const ConfigEntry* entry = Newest(); entry; entry = entry->next)
        if (key == entry->key) return entry->value;
    return nullptr;
}

const char* ConfigStore::Root() const noexcept {
    // acquire: pairs with the release in FindRoot()
    const char* const root = root_.load(std::memory_order_acquire);
    return root ? root : kUsualRoot;
}

void ConfigStore::SetRootVariable(const char* name) {
    TgMutexGuard hold(name_lock_);
    root_variable_ = name ? name : "";
}

/// Lock-free: the entry is linked to the head it has seen, and published by a compare-and-swap that
/// fails, and links the entry again, if another thread was faster. Entries are never removed, so a
/// head that is equal to the one seen is the same one.
void ConfigStore::Add(std::string_view key, std::string_view value) noexcept {
    void* const room = std::malloc(sizeof(ConfigEntry) + key.size() + value.size() + 2);
    if (!room) return;
    char* const key_text = static_cast<char*>(room) + sizeof(ConfigEntry);
    char* const value_text = key_text + key.size() + 1;
    *std::copy(key.begin(), key.end(), key_text) = '\0';
    *std::copy(value.begin(), value.end(), value_text) = '\0';
    // Memory: the entry, then the key and the value, each with a terminating zero.
    auto* const entry =
        new (room) ConfigEntry{newest_.load(std::memory_order_relaxed), key_text, value_text};
    // release: pairs with the acquire in Newest()
    while (!newest_.compare_exchange_weak(entry->next, entry, std::memory_order_release,
                                          std::memory_order_relaxed)) {
    }
    if (key == kZoneKey) zones_.Add(entry->value);
}

const char* ConfigGet(const char* key) {
    return key ? TheConfigStore().Get(key) : nullptr;
}

char* ConfigGetCopy(const char* key) {
    const char* const value = ConfigGet(key);
    return value ? strdup(value) : nullptr;
}

int ConfigGetCount(const char* key, int fallback) {
    const char* const text = ConfigGet(key);
    // strtol returns the largest long for a number that does not fit.
    const long number = text ? std::strtol(text, nullptr, 10) : 0;
    if (number <= 0) return fallback;
    return static_cast<int>(std::min<long>(number, std::numeric_limits<int>::max()));
}

void ConfigListPrefix(const char* prefix, std::vector<std::string>* keys) {
    const std::string_view wanted = prefix ? prefix : "";
    for (const ConfigEntry* entry = TheConfigStore().Newest(); entry; entry = entry->next)
        if (std::string_view(entry->key).starts_with(wanted)) keys->emplace_back(entry->key);
}

int ConfigParseBool(const char* text, int fallback) {
    return ConfigLookupWord(text, kBooleanWords, fallback);
}

int ConfigLookupWord(const char* text, const ConfigWord* table, int fallback) {
    if (!text || !table) return fallback;
    for (; table->name; ++table)
        if (!std::strcmp(table->name, text)) return table->value;
    return fallback;
}

const char* ConfigRoot() {
    return TheConfigStore().Root();
}

void ConfigSetRootVariable(const char* name) {
    TheConfigStore().SetRootVariable(name);
}

void ConfigLoad() {
    TheConfigStore().Load();
}

void ConfigSetDumpStream(std::FILE* stream) {
    TheConfigStore().SetDumpStream(stream);
}

void ConfigReadFile(const char* path) {
    TheConfigStore().ReadFile(path);
}
