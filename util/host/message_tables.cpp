// Builds, searches and deletes the tables of printed and silenced messages.
//
// The functions below the class catch std::bad_alloc and return a default, so a report that memory
// has run out is still printed.

#include "util/host/message_tables.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "util/base/ascii.h"
#include "util/base/process_wide.h"
#include "util/base/thread_slot.h"
#include "util/text/words.h"

namespace message_tables {
namespace {

constexpr std::size_t kIdentifierLength = 6;
constexpr std::string_view kComma = ",";

/// Whether the name in an environment entry, "NAME=value", has the form of a message identifier.
bool SilencesMessage(std::string_view entry) {
    return entry.size() > kIdentifierLength && IsAsciiLetter(entry[0]) &&
           std::all_of(entry.begin() + 1, entry.begin() + kIdentifierLength, IsAsciiDigit) &&
           entry[kIdentifierLength] == '=';
}

/// Holds the host's lock for one scope, if its functions are set.
class HostGuard : public TgUncopyable {
public:
    explicit HostGuard(const MsgLock& lock) : lock_(lock) {
        if (lock_.lock) lock_.lock(lock_.argument);
    }
    ~HostGuard() {
        if (lock_.unlock) lock_.unlock(lock_.argument);
    }

private:
    const MsgLock lock_;
};

class Tables {
public:
    /// The calling thread's table; null when there is no key or no memory for it.
    CountTable* OfThread() {
        return of_threads_.FindOrMake([this] { return BuildThreadTable(); });
    }

    bool KnownToThread(std::string_view key) {
        // A thread that can have no table builds one for this call: slow, but correct.
        CountTable* const mine = OfThread();
        return (mine ? mine : BuildThreadTable().get())->CountIfHeld(key);
    }

    bool FirstInProcess(std::string_view key) UTIL_EXCLUDES(said_lock_) {
        // Searched and entered under one hold: otherwise two threads could both be the first.
        TgMutexGuard hold(said_lock_);
        if (said_.CountIfHeld(key)) return false;
        said_.Enter(key);
        return true;
    }

    void DropProcessTable() UTIL_EXCLUDES(said_lock_) {
        TgMutexGuard hold(said_lock_);
        said_ = CountTable();
    }

    void AppendDisabled(std::string_view identifiers) UTIL_EXCLUDES(list_lock_) {
        TgMutexGuard hold(list_lock_);
        for (std::string_view one; !(one = TakeWord(&identifiers, kComma)).empty();)
            disabled_.emplace_back(one);
    }

    void ClearDisabled() UTIL_EXCLUDES(list_lock_) {
        TgMutexGuard hold(list_lock_);
        disabled_.clear();
    }

    ThreadSlot<CountTable>& OfThreads() { return of_threads_; }

private:
    std::unique_ptr<CountTable> BuildThreadTable() UTIL_EXCLUDES(list_lock_) {
        auto table = std::make_unique<CountTable>();
        {
            TgMutexGuard hold(list_lock_);
            for (const std::string& identifier : disabled_) table->Enter(identifier);
        }
        // The environment has no lock; hosts that change it do so before they start threads.
        for (char** entry = environ; entry && *entry; ++entry)
            if (SilencesMessage(*entry)) table->Enter(std::string_view(*entry, kIdentifierLength));
        return table;
    }

    ThreadSlot<CountTable> of_threads_{ThreadSlotEnd::kKeep};

    TgMutex said_lock_;
    CountTable said_ UTIL_GUARDED_BY(said_lock_);

    TgMutex list_lock_;
    std::vector<std::string> disabled_ UTIL_GUARDED_BY(list_lock_);
};

Tables& TheTables() {
    return process_wide::The<Tables>();
}

}  // namespace

bool CountTable::CountIfHeld(std::string_view key) {
    const auto found = counts_.find(key);
    if (found == counts_.end()) return false;
    ++found->second;
    return true;
}

bool KnownToThread(std::string_view key) noexcept try {
    return TheTables().KnownToThread(key);
} catch (const std::bad_alloc&) {
    return false;
}

bool FirstInProcess(std::string_view key, const MsgLock& host_lock) noexcept try {
    bool first;
    {
        HostGuard hold(host_lock);
        first = TheTables().FirstInProcess(key);
    }
    // Outside the locks, and looked up again: the host's lock function may report a message, and so
    // build this thread's table.
    if (CountTable* const mine = TheTables().OfThread()) mine->Enter(key);
    return first;
} catch (const std::bad_alloc&) {
    return true;
}

bool BringUp() noexcept {
    return TheTables().OfThreads().BringUp();
}

void DropThreadTable() noexcept {
    TheTables().OfThreads().Drop();
}

void DropProcessTable() noexcept {
    TheTables().DropProcessTable();
}

void DropEveryThreadTable() noexcept {
    TheTables().OfThreads().DropAll();
}

void AppendDisabled(std::string_view identifiers) noexcept try {
    TheTables().AppendDisabled(identifiers);
} catch (const std::bad_alloc&) {
    return;  // the parts before stay in the list
}

void ClearDisabled() noexcept {
    TheTables().ClearDisabled();
}

void SilenceInThread(std::string_view identifiers) noexcept try {
    // A thread without a table copies the list of the process when it builds one.
    CountTable* const mine = TheTables().OfThreads().Find();
    for (std::string_view one; mine && !(one = TakeWord(&identifiers, kComma)).empty();)
        mine->Enter(one);
} catch (const std::bad_alloc&) {
    return;
}

}  // namespace message_tables
