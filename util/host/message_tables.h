// What was said and what is silenced: one table per thread, one for the whole process.
//
// Errors     memory that runs out makes a table forget, never a report fail.
// Ownership  the tables copy their keys. A thread's table is kept when its thread ends: it dies
//            with DropThreadTable() of that thread, with DropEveryThreadTable() or at the unload.
// Threads    any. A thread's own table is read and written by that thread alone.
//
// Locks, in the order in which they may be taken:
//
//   rank  lock           count  guards
//   80    the host's     0, 1   the table of the process, if the host brought a lock (MsgLock)
//   81    said_lock_     1      the table of the process, in any case
//   83    list_lock_     1      the list of disabled identifiers
//
//   - said_lock_ makes the table safe for hosts that bring no lock or change it while reporting;
//   - no handler, filter or exit function is called inside, only the host's lock itself.

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
    /// Adds 1 to `key`'s count. False: the table does not hold it, and stays as it is.
    bool CountIfHeld(std::string_view key);

    /// Puts `key` in with count 1, or resets its count to 1.
    void Enter(std::string_view key) { counts_.insert_or_assign(std::string(key), 1); }

private:
    /// Lets a lookup by std::string_view do without a copy.
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };
    std::unordered_map<std::string, std::int64_t, Hash, std::equal_to<>> counts_;
};

/// Whether the calling thread knows `key`, as silenced or as said, and counts it if so. Builds the
/// thread's table on the first call: the disabled list, then every environment variable whose name
/// is one letter and five digits.
bool KnownToThread(std::string_view key) noexcept;

/// Whether nobody has said `key` yet; the calling thread and the process know it afterwards.
/// `host_lock`: taken and given back, if it is one.
bool FirstInProcess(std::string_view key, const MsgLock& host_lock) noexcept;

/// Makes what threads' tables need ahead of the first report. False: the system has none left;
/// then no thread has a table, and each report reads the disabled list and the environment again.
bool BringUp() noexcept;

void DropThreadTable() noexcept;
void DropProcessTable() noexcept;

/// Caller: no other thread reports meanwhile.
void DropEveryThreadTable() noexcept;

/// Appends the non-empty parts between the commas of `identifiers`.
void AppendDisabled(std::string_view identifiers) noexcept;
void ClearDisabled() noexcept;

/// Adds the same parts to what the calling thread's table silences, if the thread has one yet.
void SilenceInThread(std::string_view identifiers) noexcept;

}  // namespace message_tables
