// The tables of printed and silenced messages: one for each thread and one for the process.
//
// Units      counts of reports.
// Errors     when memory runs out, a table loses an entry and a message may be printed again; no
//            report fails.
// Ownership  the tables copy their keys. A thread's table stays when its thread ends; it is deleted
//            by DropThreadTable() in that thread, by DropEveryThreadTable() or at the unload.
// Threads    any. Only its own thread reads and writes a thread's table.
//
// Locks, in the order in which they may be taken:
//
//   rank  lock           count  guards
//   80    the host's     0, 1   the table of the process, if the host has set a lock (MsgLock)
//   81    said_lock_     1      the table of the process, in any case
//   83    list_lock_     1      the list of disabled identifiers
//
//   - said_lock_ makes the table safe also for hosts that set no lock or change it while reporting;
//   - no handler, filter or exit function runs under these locks, only the host's lock functions.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "util/host/message.h"

namespace message_tables {

/// Texts with counts.
class CountTable {
public:
    /// Adds 1 to the count of `key`. False, and nothing changes: the table does not have it.
    bool CountIfHeld(std::string_view key);

    /// Adds `key` with count 1, or sets its count to 1.
    void Enter(std::string_view key) { counts_.insert_or_assign(std::string(key), 1); }

private:
    /// Allows a lookup by std::string_view, without making a std::string.
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };
    std::unordered_map<std::string, std::int64_t, Hash, std::equal_to<>> counts_;
};

/// Whether the calling thread's table has `key`, because it is silenced or was printed; counts it
/// if so. The first call builds the table from the disabled list and from every environment
/// variable whose name is one letter and five digits.
bool KnownToThread(std::string_view key) noexcept;

/// Whether no thread has printed `key` yet. Enters it in the tables of the calling thread and of
/// the process. `host_lock`: held meanwhile, if its functions are set.
bool FirstInProcess(std::string_view key, const MsgLock& host_lock) noexcept;

/// Makes the key of the threads' tables before the first report. False: the system has none left.
/// Then no thread has a table, and each report reads the disabled list and the environment again.
bool BringUp() noexcept;

void DropThreadTable() noexcept;
void DropProcessTable() noexcept;

/// Caller: no other thread reports meanwhile.
void DropEveryThreadTable() noexcept;

/// Appends the non-empty parts between the commas of `identifiers`.
void AppendDisabled(std::string_view identifiers) noexcept;
void ClearDisabled() noexcept;

/// Adds the same parts to the calling thread's table, if the thread has one already.
void SilenceInThread(std::string_view identifiers) noexcept;

}  // namespace message_tables
