// ConfigStore -- options in the order in which they were read, the newest first.
//
// Units      lines in bytes, of kLineBytes at most with the terminating zero.
// Errors     an entry for which there is no memory is dropped; nothing throws but Load() and
//            ReadFile(), which pass on what the making of a path throws.
// Ownership  the store owns its entries and the install root until its end; what Get() and Root()
//            answer is borrowed.
// Threads    any member from any thread at any time. Entries are only ever put in front, and the
//            head is published when the entry is whole, so readers need no lock; whoever reads
//            twice may see more the second time.
//
// Locks:
//
//   rank  lock         count  guards
//   84    name_lock_   1      the name of the variable that holds the install root
//
//   - the loading itself holds no lock: it reports, and so runs handlers. Who comes second waits
//     for the state word.

#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/base/tg_lock.h"

/// One option; it lies in one piece with its two texts, each ended by a zero.
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

    const char* Root() const noexcept;
    void SetRootVariable(const char* name);
    void ReadFile(const char* path);
    void Load();

private:
    enum class LoadState : std::int32_t { kNotLoaded, kLoading, kLoaded };

    /// Ends the loading however it ends, so that nobody waits for ever.
    class LoadedAtEnd;

    /// Puts one option in front of all others.
    void Add(std::string_view key, std::string_view value) noexcept;
    void ReadLine(const char* line);
    std::string Expanded(std::string_view value) const;
    std::string ValueOfReference(std::string_view reference) const;
    void FindRoot();
    void ReadChain();

    // Atomic.
    std::atomic<const ConfigEntry*> newest_{nullptr};
    std::atomic<const char*> root_{nullptr};  ///< written once, by the loading thread
    std::atomic<bool> dumps_{false};          ///< whether reading prints what it finds
    std::atomic<LoadState> load_state_{LoadState::kNotLoaded};
    std::atomic<std::thread::id> loader_{};  ///< who loads, while load_state_ is kLoading

    // Guarded.
    TgMutex name_lock_;
    std::string root_variable_ UTIL_GUARDED_BY(name_lock_);  ///< empty: the usual one
};

/// The store of the process, which the functions of util/host/config.h work on.
ConfigStore& TheConfigStore();
