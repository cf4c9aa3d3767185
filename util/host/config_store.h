// ConfigStore -- the options as a list, the one read last first.
//
// Units      lines in bytes, at most kLineBytes with the terminating zero.
// Errors     an entry for which there is no memory is dropped. Only Load() and ReadFile() throw:
//            std::bad_alloc, when there is no memory for a path.
// Ownership  the store owns its entries and the install root; Get() and Root() return pointers
//            that are valid as long as the store.
// Threads    any member from any thread at any time. Readers need no lock: an entry is complete
//            before it is published as the new head, and neither it nor the rest of the list
//            changes afterwards. A second look may find more entries than the first.
//
// Locks:
//
//   rank  lock         count  guards
//   84    name_lock_   1      the name of the variable that holds the install root
//
//   - loading holds no lock, because it reports messages and so runs the host's handlers. A second
//     caller waits on the state word.

#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/base/tg_lock.h"
#include "util/host/zone_table.h"

/// One option. The entry and its two texts are one allocation.
struct ConfigEntry {
    const ConfigEntry* next;
    const char* key;
    const char* value;
};

class ConfigStore : public TgUncopyable {
public:
    static constexpr std::size_t kLineBytes = 4096;

    ConfigStore() = default;
    ~ConfigStore();

    /// Null when there is no such key.
    const char* Get(std::string_view key) const noexcept;

    /// The newest entry, from which `next` leads to all others; null when the store is empty.
    const ConfigEntry* Newest() const noexcept {
        // acquire: pairs with the release in Add()
        return newest_.load(std::memory_order_acquire);
    }

    /// The entries "/dirmap/zone".
    const ZoneTable& Zones() const noexcept { return zones_; }

    const char* Root() const noexcept;
    void SetRootVariable(const char* name);
    void SetDumpStream(std::FILE* stream) noexcept {
        dump_stream_.store(stream, std::memory_order_relaxed);
    }
    void ReadFile(const char* path);
    void Load();

private:
    enum class LoadState : std::int32_t { kNotLoaded, kLoading, kLoaded };

    /// Sets the state to kLoaded in its destructor, so no thread waits for ever after an exception.
    class LoadedAtEnd;

    /// Puts one option at the head of the list.
    void Add(std::string_view key, std::string_view value) noexcept;
    /// Where reading prints what it finds; null: it prints nothing.
    std::FILE* Dump() const noexcept;
    void ReadUsualFile(const std::string& path);
    void ReadPlace(const std::string& place);
    void ReadLine(const char* line);
    std::string Expanded(std::string_view value) const;
    std::string ValueOfReference(std::string_view reference) const;
    void FindRoot();
    void ReadChain();

    // Atomic.
    std::atomic<const ConfigEntry*> newest_{nullptr};
    std::atomic<const char*> root_{nullptr};        ///< written once, by the loading thread
    std::atomic<bool> dumps_{false};                ///< whether reading prints what it finds
    std::atomic<std::FILE*> dump_stream_{nullptr};  ///< null: standard output
    std::atomic<LoadState> load_state_{LoadState::kNotLoaded};
    std::atomic<std::thread::id> loader_{};  ///< the thread that loads, during kLoading

    // Needs no lock; its rules point into the entries.
    ZoneTable zones_;

    // Guarded.
    TgMutex name_lock_;
    std::string root_variable_ UTIL_GUARDED_BY(name_lock_);  ///< empty: "LUMRTREE"
};

/// The store of the process, which the functions of util/host/config.h use.
ConfigStore& TheConfigStore();
