// Opens files by name, and closes idle files to make room.
//
// Counts and flags of a file change under its bucket's lock. A request adds its hold under that
// lock and reads there whether the file is ready. If it is not ready, the request waits for the
// file's `opening_` and then opens the file, unless another thread has opened it by then. A thread
// that closes a file takes `opening_` first. Then it checks under the bucket's lock that no thread
// holds the file and sets `is_closing_`, so that later requests wait for `opening_`. So no file is
// closed after a request has found it ready, and the locks of buckets, which only spin, are held
// for a few instructions.

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <utility>

#include "ptc/files/bucket_hold.h"
#include "ptc/files/file_identity.h"
#include "ptc/files/file_manager.h"
#include "ptc/files/thread_files.h"

namespace {

/// How many idle files are closed when the process has no descriptor left. More than one, because
/// other code of the process needs descriptors, too.
constexpr int kShortageBatch = 8;

/// The process or the system has no descriptor left: closing files helps.
bool LacksDescriptors(std::int32_t code) {
    return code == EMFILE || code == ENFILE;
}

/// Every thread of the process passes a full barrier before this returns, so that threads that
/// release a file need none. On a system without it, a thread that releases the file at the same
/// moment may keep it as it is.
void BarrierInAllThreads() noexcept {
    if (::syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0) == 0) return;
    // The first time in this process.
    ::syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0);
    ::syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
}

/// The failure does not depend on the file, so a later attempt may succeed.
bool IsShortage(std::int32_t code) {
    return LacksDescriptors(code) || code == ENOMEM;
}

}  // namespace

/// Occupies a name's entry while the opener runs, because no file is opened under a bucket's lock.
/// The thread that opens has locked `opening_`, so other requests for the name wait for it. All its
/// holders own it: the last one to drop its hold deletes it.
class UtFileManager::Reservation final : public File {
public:
    Reservation(const char* name, std::uint32_t hash)
        : File(name, hash & file_identity::kNameMask, true) {}
    AccessStatus close() noexcept override { return AccessStatus::kOk; }
    AccessStatus reopen() noexcept override { return AccessStatus::kUnreadable; }
};

void UtFileManager::DropReservation::operator()(Reservation* reservation) const noexcept {
    // acquire and release: pairs with the drops of the other holds
    if (reservation->holders_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete reservation;
}

/// A name that is requested for the first time.
struct UtFileManager::NewFile {
    const char* name;
    std::uint32_t hash;
    Opener& opener;
    ThreadFiles& asking;
};

UtFileManager::File* UtFileManager::Acquire(const char* name, Opener& opener, ThreadFiles& asking,
                                            bool* opened, FileFailure* why) {
    *opened = false;
    const std::uint32_t hash = file_identity::NameHash(name);
    for (;;) {
        File* file = nullptr;
        switch (Take(name, hash, &file)) {
            case Condition::kReady:
                return file;
            case Condition::kFailed:
                file->CopyFailure(why);
                return nullptr;
            case Condition::kNotReady:
                if (!Failed(OpenOutsideTables(*file, asking, why))) return file;
                GiveBack(*file);
                return nullptr;
            case Condition::kBeingOpened: {
                const ReservationRef theirs(static_cast<Reservation*>(file));
                TgMutexGuard wait(theirs->opening_);
                break;  // by now the name has its file, or its entry is free again
            }
            case Condition::kUnknown:
                if (!OpenUnknown({name, hash, opener, asking}, &file, why)) break;
                *opened = file != nullptr;
                return file;
        }
    }
}

UtFileManager::File* UtFileManager::FindIn(const Bucket& bucket, std::string_view name) {
    const auto found = std::find_if(bucket.begin(), bucket.end(),
                                    [&](const File* file) { return name == file->Name(); });
    return found == bucket.end() ? nullptr : *found;
}

/// Finds the name's file and adds a hold for the caller, unless the file has failed.
UtFileManager::Condition UtFileManager::Take(std::string_view name, std::uint32_t hash,
                                             File** file) {
    const BucketHold hold(*this, hash);
    File* const found = FindIn(BucketOf(hash), name);
    if (!found) return Condition::kUnknown;
    *file = found;
    if (!found->is_usable_) return Condition::kFailed;
    const std::uint32_t before = found->holders_.fetch_add(1, std::memory_order_relaxed);
    if (found->is_reservation_) return Condition::kBeingOpened;
    if (before == 1) idle_.Remove(*found);
    const bool is_outdated = before == 1 && found->WantsRenewal();
    return found->IsOpen() && !found->is_closing_ && !is_outdated ? Condition::kReady
                                                                  : Condition::kNotReady;
}

/// Inserts the reservation. False: meanwhile the name has a file or another reservation.
bool UtFileManager::Put(Reservation& reservation, std::uint32_t hash) {
    // No memory is allocated or freed under the lock: a larger vector is made outside, and swapped
    // in under the lock if the bucket is still full. Other threads may have filled the bucket
    // further in between, so the size is checked again.
    Bucket larger;
    for (;;) {
        std::size_t needed = 0;
        {
            const BucketHold hold(*this, hash);
            Bucket& bucket = BucketOf(hash);
            if (FindIn(bucket, reservation.Name())) return false;
            if (bucket.size() < bucket.capacity()) {
                bucket.push_back(&reservation);
                return true;
            }
            needed = 2 * bucket.size();
            if (larger.capacity() >= needed) {
                larger.assign(bucket.begin(), bucket.end());
                bucket.swap(larger);
                bucket.push_back(&reservation);
                return true;
            }
        }
        larger.reserve(needed);
    }
}

/// Replaces the reservation with `file`; null removes it and so frees the name.
void UtFileManager::Replace(const Reservation& reservation, File* file,
                            std::uint32_t hash) noexcept {
    const BucketHold hold(*this, hash);
    Bucket& bucket = BucketOf(hash);
    const auto place = std::find(bucket.begin(), bucket.end(), &reservation);
    if (file) {
        *place = file;
    } else {
        bucket.erase(place);
    }
}

/// Runs the opener for a new name. False: another thread was faster. True: `*opened` is the file,
/// or null.
bool UtFileManager::OpenUnknown(const NewFile& wanted, File** opened, FileFailure* why) {
    const ReservationRef mine(new Reservation(wanted.name, wanted.hash));
    TgMutexGuard hold(mine->opening_);  // before any thread can find the reservation
    if (!Put(*mine, wanted.hash)) return false;

    MakeRoom(wanted.asking);
    std::unique_ptr<File> file = RunOpener(wanted.name, wanted.opener, wanted.asking);
    if (file && file->is_usable_ && file->IsOpen()) {
        file->holders_.store(2, std::memory_order_relaxed);  // ours, and this thread's
        opened_.fetch_add(1, std::memory_order_relaxed);
        *opened = file.get();
        Replace(*mine, file.release(), wanted.hash);
        return true;
    }
    open_files_.fetch_sub(1, std::memory_order_relaxed);
    open_errors_.fetch_add(1, std::memory_order_relaxed);
    *opened = nullptr;
    if (file) {
        file->is_usable_ = false;
        file->CopyFailure(why);
    } else if (why) {
        *why = {ENOMEM, {}};
    }
    // A failed file stays under its name, so that millions of requests for a missing file do not
    // become millions of attempts to open it. After a shortage the name becomes free, because the
    // next attempt may succeed.
    const bool stays = file && !IsShortage(file->LastError());
    Replace(*mine, stays ? file.release() : nullptr, wanted.hash);
    return true;
}

std::unique_ptr<UtFileManager::File> UtFileManager::RunOpener(const char* name, Opener& opener,
                                                              ThreadFiles& asking) {
    for (;;) {
        const std::uint64_t closed_before = GetCounts().reclaimed;
        std::unique_ptr<File> file = opener.open(name);
        if (!file || file->IsOpen() || !LacksDescriptors(file->LastError())) return file;
        if (!CloseForDescriptors(asking, closed_before)) return file;
    }
}

AccessStatus UtFileManager::BringOpen(File& file, ThreadFiles& asking, FileFailure* why) {
    TgMutexGuard hold(file.opening_);
    const AccessStatus status = file.IsOpen() ? AccessStatus::kOk : OpenAgain(file, asking, hold);
    if (Failed(status)) file.CopyFailure(why);
    return status;
}

AccessStatus UtFileManager::Reopen(File& file, ThreadFiles& asking) {
    TgMutexGuard hold(file.opening_);
    const AccessStatus closed = CloseHeld(file);
    return Failed(closed) || file.IsOpen() ? closed : OpenAgain(file, asking, hold);
}

AccessStatus UtFileManager::Renew(File& file, bool is_only_use, ThreadFiles& asking,
                                  FileFailure* why) noexcept {
    file.wants_renewal_.store(true, std::memory_order_relaxed);
    // A thread that is giving the file back either sees the wish or has stored that it keeps it.
    BarrierInAllThreads();
    while (TakeBackUnused(&file)) {
    }
    return is_only_use ? OpenOutsideTables(file, asking, why) : AccessStatus::kOk;
}

/// Opens a file that is closed, and opens one anew that wants it and is held by the caller alone.
/// Caller: holds it, but not in `asking`.
AccessStatus UtFileManager::OpenOutsideTables(File& file, ThreadFiles& asking,
                                              FileFailure* why) noexcept {
    TgMutexGuard hold(file.opening_);
    bool is_mine;
    {
        // Once `is_closing_` is set, a request for the file waits for `opening_`.
        const BucketHold bucket(*this, file.Identity());
        constexpr std::uint32_t kOursAndTheCallers = 2;
        is_mine = file.WantsRenewal() && file.Holders() <= kOursAndTheCallers;
        file.is_closing_ = is_mine;
    }
    AccessStatus status = is_mine ? CloseHeld(file) : AccessStatus::kOk;
    if (!Failed(status) && !file.IsOpen()) status = OpenAgain(file, asking, hold);
    if (Failed(status)) file.CopyFailure(why);
    const BucketHold bucket(*this, file.Identity());
    file.is_closing_ = false;
    return status;
}

/// Caller: holds the file and its `opening_`.
AccessStatus UtFileManager::CloseHeld(File& file) noexcept {
    if (!file.IsOpen()) return AccessStatus::kOk;
    const AccessStatus closed = file.close();
    if (!file.IsOpen()) open_files_.fetch_sub(1, std::memory_order_relaxed);
    return closed;
}

AccessStatus UtFileManager::OpenAgain(File& file, ThreadFiles& asking, const TgMutexGuard&) {
    MakeRoom(asking);
    file.wants_renewal_.store(false, std::memory_order_relaxed);
    AccessStatus opened;
    std::uint64_t closed_before;
    do {
        closed_before = GetCounts().reclaimed;
        opened = file.reopen();
    } while (LacksDescriptors(ToErrorCode(opened)) && CloseForDescriptors(asking, closed_before));
    if (Failed(opened)) {
        open_files_.fetch_sub(1, std::memory_order_relaxed);
        open_errors_.fetch_add(1, std::memory_order_relaxed);
    } else {
        reopened_.fetch_add(1, std::memory_order_relaxed);
    }
    return opened;
}

/// Counts one more file as open. If the limit was reached before, closes an idle file. The count
/// comes first, so that threads that open at the same time each see the others' files.
void UtFileManager::MakeRoom(ThreadFiles& asking) noexcept {
    if (open_files_.fetch_add(1, std::memory_order_relaxed) < sizes_.limit) return;
    // A file that only this thread kept becomes idle when it is given back, and GiveBack() closes
    // an idle file because the count is above the limit.
    if (CloseIdle(1) == 0) asking.GiveBackOne();
}

/// Closes a few files that no thread uses, for an opening that failed since `closed_before` files
/// had been closed. False: there are none, and no other thread has closed one since.
bool UtFileManager::CloseForDescriptors(ThreadFiles& asking, std::uint64_t closed_before) noexcept {
    // One thread at a time: what one has taken to close it, another does not find.
    TgMutexGuard hold(shortage_lock_);
    if (GetCounts().reclaimed != closed_before) return true;
    for (int i = 0; i < kShortageBatch && asking.GiveBackOne(); ++i) {
    }
    // Other threads keep released files in their tables, and a thread that waits never empties its
    // own. A file is idle when the last of its holds has been given back.
    while (CloseIdle(kShortageBatch) == 0 && TakeBackUnused(nullptr)) {
    }
    return GetCounts().reclaimed != closed_before;
}

/// Gives back a few holds that threads keep without using them: of `only`, or of any file if it is
/// null. False: there are none.
bool UtFileManager::TakeBackUnused(const File* only) noexcept {
    std::array<File*, kShortageBatch> taken;
    std::size_t count = 0;
    {
        TgSpinGuard hold(tables_lock_);
        for (ThreadFiles* table = tables_; table && count < taken.size(); table = table->next_)
            count += table->TakeUnused(only, std::span(taken).subspan(count));
    }
    for (File* const file : std::span(taken).first(count)) GiveBack(*file);
    return count > 0;
}

void UtFileManager::HoldAgain(File& file) noexcept {
    const BucketHold hold(*this, file.Identity());
    if (file.holders_.fetch_add(1, std::memory_order_relaxed) == 1) idle_.Remove(file);
}

void UtFileManager::GiveBack(File& file) noexcept {
    bool is_idle = false;
    {
        const BucketHold hold(*this, file.Identity());
        if (file.holders_.fetch_sub(1, std::memory_order_relaxed) == 2)
            is_idle = ListIfIdle(file, hold);
    }
    if (is_idle && file.WantsRenewal()) {
        if (idle_.Remove(file)) CloseVictim(file);
    } else if (is_idle && OpenFiles() > sizes_.limit) {
        CloseIdle(1);
    }
}

/// Lists the file if it is open, no thread holds it and no thread is closing it. False: it is not
/// listed by this call.
bool UtFileManager::ListIfIdle(File& file, const BucketHold&) noexcept {
    if (file.Holders() != 1 || file.is_closing_ || !file.IsOpen()) return false;
    return !file.stays_open_.load(std::memory_order_relaxed) && idle_.Push(file);
}

/// Closes up to `wanted` files, starting with the one that has been idle longest. A file that
/// cannot be closed moves to the head of the list, so that each idle file is tried once.
int UtFileManager::CloseIdle(int wanted) noexcept {
    int closed = 0;
    for (int tries = idle_.Count(); tries > 0 && closed < wanted; --tries) {
        File* const victim = idle_.PopTail();
        if (!victim) break;
        if (CloseVictim(*victim)) ++closed;
    }
    return closed;
}

/// Closes a file that this thread has removed from the idle list, if no thread has requested it
/// since.
bool UtFileManager::CloseVictim(File& victim) noexcept {
    bool is_closed = false;
    // TryLock(), because this thread may have another file's `opening_`: two threads that waited
    // for each other's would never go on.
    if (victim.opening_.TryLock()) {
        bool is_mine;
        {
            const BucketHold hold(*this, victim.Identity());
            // Listed again: another thread has used it since and is done, so it is not the file
            // that has been idle longest.
            is_mine = victim.Holders() == 1 && victim.IsOpen() && !idle_.Lists(victim);
            victim.is_closing_ = is_mine;
        }
        if (is_mine) {
            is_closed = !Failed(victim.close()) && !victim.IsOpen();
            const BucketHold hold(*this, victim.Identity());
            victim.is_closing_ = false;
        }
        victim.opening_.Unlock();
    }
    if (is_closed) {
        open_files_.fetch_sub(1, std::memory_order_relaxed);
        reclaimed_.fetch_add(1, std::memory_order_relaxed);
    } else {
        // We took it off the list, so we put it back, unless someone has opened or closed it since.
        const BucketHold hold(*this, victim.Identity());
        ListIfIdle(victim, hold);
    }
    return is_closed;
}
