// UtFileManager -- one object for each file name, and a limit on how many of them are open.
//
// Units      files are counted; error codes are errno values.
// Errors     a file that cannot be opened is a null pointer, and its object keeps code and reason.
//            Throws std::bad_alloc when memory runs out, and leaves everything as it was.
// Ownership  the manager owns its files until it goes, which is after Shutdown() and the end of
//            the last thread's table. Callers own holds, never files. A file that is still in use
//            at the shutdown lives, closed, until its last use is released.
// Threads    every member from any thread, but for BrokenPromise().
//
// Locks, in the order in which they may be taken:
//
//   rank  lock           count         guards
//   20    create_lock    1             the one manager, while it is made and let go; the files
//                                      that outlive a manager
//   21    opening_       1 a file      the file's opening, reopening and closing
//   22    shortage_lock_ 1             closing files because descriptors ran out
//   23    bucket_locks_  512           the buckets, and the counts and flags of the files in them
//   24    idle lock_     1             the idle list and its links
//   25    tables lock    1             the list of all threads' tables
//   26    table lock     1 a table     see ptc/files/thread_files.h
//
//   - a thread takes one bucket lock at a time, and the idle list's inside it, never around it:
//     to close an idle file, a thread takes it off the list first, then looks at it again in its
//     bucket;
//   - no file is opened, reopened or closed, and no memory allocated, under ranks 23 to 26;
//   - a second `opening_` is only tried, never waited for.
//
// The life of a file:
//
//             opener failed
//   (opening) ----------------> FAILED     never handed out; what the opener said stays
//       |                                  (but for a shortage: the next request tries again)
//       | opener succeeded
//       v         first hold                close() by the manager
//     USED <---------------------- IDLE -------------------------> CLOSED
//       | ------------------------> ^                                 |
//       |      last hold            |                                 |
//       ^ given back            on the list                           |
//       +-------------------------------------------------------------+
//                      reopen(), asked for by the next hold
//
// The limit is soft. Only idle files are closed for it; while all are used, opening goes on, and
// each file that is given back closes one that is too many. One that cannot be closed just then,
// because its closing fails or somebody has its `opening_`, is left to the next.
//
// The system's limit of descriptors is hard. When it is reached, files that any thread keeps
// without using them are taken from its table and closed, until the opening succeeds or no such
// file is left.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "util/base/results.h"
#include "util/base/tg_lock.h"

class TgStats;
class ThreadFiles;

/// Why a file could not be opened: an error code, and the reason in words if it is not the
/// system's.
struct FileFailure {
    std::int32_t code = 0;
    std::string reason;
};

class UtFileManager : public TgUncopyable {
public:
    class File;
    class Opener;

    /// The numbers that follow from those a manager is made with.
    struct Sizes {
        std::int32_t limit;      ///< files open at once, 1 to kMostFiles
        std::int32_t allowance;  ///< files that a thread may keep without using them
        std::uint32_t buckets;   ///< a power of two
    };
    static constexpr std::int32_t kMostFiles = 1 << 16;
    static constexpr Sizes SizesFor(int threads, int limit, int sizing_hint);

    /// Makes the process's manager if there is none; what it was made with first holds.
    static void Create(int threads, int limit, int sizing_hint);

    /// The calling thread's table, made by the thread's first call; null when there is no manager,
    /// or when the system has no room left for the table's key.
    static ThreadFiles* Get();

    /// Lets the manager go: every thread's holds are given back and the files destroyed, except
    /// those that are in use: they are closed for good and wait for ReleaseOutlived().
    /// Caller: no other thread uses a file or asks for one; threads may be ending meanwhile.
    static void Shutdown();

    /// One use fewer of a file that has outlived its manager. The last one destroys the file.
    static void ReleaseOutlived(File& file) noexcept;

    explicit UtFileManager(const Sizes& sizes);
    ~UtFileManager();

    /// The file called `name`, open and held once more, for `asking`; null when it cannot be
    /// opened, and then `*why`, unless null, has the reason. `opener` makes the object when nobody
    /// has asked for the name before; `*opened`: this very call did so with success.
    File* Acquire(const char* name, Opener& opener, ThreadFiles& asking, bool* opened,
                  FileFailure* why);

    /// Opens a file that is closed although it is held. Caller: holds it.
    AccessStatus BringOpen(File& file, ThreadFiles& asking, FileFailure* why = nullptr);

    /// Closes a file that was written and opens it again. Caller: holds it alone.
    AccessStatus Reopen(File& file, ThreadFiles& asking);

    /// Closes a file that is read and opens it again. While other threads use it, or this one more
    /// than once, that is left to the first opening after the last of them has given it back.
    /// Caller: holds it, but not in `asking`, where its place depends on the file's identity.
    AccessStatus Renew(File& file, bool is_only_use, ThreadFiles& asking,
                       FileFailure* why) noexcept;

    /// One hold more on a file of this manager, open or not.
    void HoldAgain(File& file) noexcept;

    /// Takes one hold back. The last one makes the file idle.
    void GiveBack(File& file) noexcept;

    const Sizes& GetSizes() const { return sizes_; }
    std::int32_t OpenFiles() const { return open_files_.load(std::memory_order_relaxed); }
    /// Whether one file more would be one too many, so that nothing unused should be kept.
    bool IsFull() const { return OpenFiles() >= sizes_.limit; }

    /// Since the manager was made.
    struct Counts {
        std::uint64_t opened;  ///< for the first time
        std::uint64_t reopened;
        std::uint64_t reclaimed;  ///< closed to make room
        std::uint64_t open_errors;
    };
    Counts GetCounts() const;

    /// Stores the counts, and the names of the files that were opened.
    void FillStats(TgStats* stats);

    /// The first promise that does not hold, in words; null when all do.
    /// Caller: nobody else is inside.
    const char* BrokenPromise();

private:
    /// Open files that nobody holds, newest first.
    class IdleFiles {
    public:
        /// Puts `file` at the head. False: it is listed already.
        bool Push(File& file) noexcept;
        /// Takes off the file that has been idle longest; null when there is none.
        File* PopTail() noexcept;
        /// False: it is not listed.
        bool Remove(File& file) noexcept;
        bool Lists(const File& file) noexcept;
        int Count() noexcept;
        /// Caller: nobody else is inside.
        bool LinksHold() noexcept;

    private:
        void Unlink(File& file) noexcept UTIL_REQUIRES(lock_);

        TgSpinByte lock_;
        File* head_ UTIL_GUARDED_BY(lock_) = nullptr;
        File* tail_ UTIL_GUARDED_BY(lock_) = nullptr;
        int count_ UTIL_GUARDED_BY(lock_) = 0;
    };

    class BucketHold;
    class Reservation;
    struct DropReservation {
        void operator()(Reservation* reservation) const noexcept;
    };
    using ReservationRef = std::unique_ptr<Reservation, DropReservation>;
    using Bucket = std::vector<File*>;

    /// What a request meets under a name.
    enum class Condition {
        kUnknown,
        kFailed,
        kBeingOpened,  ///< a reservation stands there
        kNotReady,     ///< closed, or just being closed
        kReady,
    };

    // file_manager_open.cpp
    Condition Take(std::string_view name, std::uint32_t hash, File** file);
    bool Put(Reservation& reservation, std::uint32_t hash);
    void Replace(const Reservation& reservation, File* file, std::uint32_t hash) noexcept;
    struct NewFile;
    bool OpenUnknown(const NewFile& wanted, File** opened, FileFailure* why);
    static File* FindIn(const Bucket& bucket, std::string_view name);
    std::unique_ptr<File> RunOpener(const char* name, Opener& opener, ThreadFiles& asking);
    AccessStatus OpenOutsideTables(File& file, ThreadFiles& asking, FileFailure* why) noexcept;
    /// `opening`: the proof that the file's lock is held.
    AccessStatus OpenAgain(File& file, ThreadFiles& asking, const TgMutexGuard& opening);
    AccessStatus CloseHeld(File& file) noexcept;
    void MakeRoom(ThreadFiles& asking) noexcept;
    bool CloseForDescriptors(ThreadFiles& asking, std::uint64_t closed_before) noexcept;
    bool TakeBackUnused(const File* only) noexcept;
    int CloseIdle(int wanted) noexcept;
    bool CloseVictim(File& victim) noexcept;
    bool ListIfIdle(File& file, const BucketHold& bucket) noexcept;
    void CountUsesLeft() noexcept;
    void OutliveUsed() noexcept;
    Bucket& BucketOf(std::uint32_t hash) { return buckets_[hash & (sizes_.buckets - 1)]; }

    // Immutable after construction.
    const Sizes sizes_;

    // Atomic.
    std::atomic<std::int32_t> open_files_{0};  ///< those that are just being opened included
    std::atomic<std::uint64_t> opened_{0};
    std::atomic<std::uint64_t> reopened_{0};
    std::atomic<std::uint64_t> reclaimed_{0};
    std::atomic<std::uint64_t> open_errors_{0};

    // Guarded: bucket b by lock b mod 512. BucketHold is the proof.
    static constexpr std::size_t kBucketLocks = 512;
    TgSpinByte bucket_locks_[kBucketLocks];
    std::vector<Bucket> buckets_;

    // Guards itself.
    IdleFiles idle_;

    TgMutex shortage_lock_;

    // Guarded. Tables link themselves.
    friend class ThreadFiles;
    TgSpinByte tables_lock_;
    ThreadFiles* tables_ UTIL_GUARDED_BY(tables_lock_) = nullptr;
};

constexpr UtFileManager::Sizes UtFileManager::SizesFor(int threads, int limit, int sizing_hint) {
    constexpr std::uint32_t kFewestBuckets = 1024;
    Sizes sizes{};
    sizes.limit = limit < 1 ? 1 : limit > kMostFiles ? kMostFiles : limit;
    // Signed: more threads than files make it negative.
    const std::int32_t share = sizes.limit / (threads < 1 ? 1 : threads) - 1;
    sizes.allowance = share <= 1 ? 2 : share;
    const std::int32_t hinted = sizing_hint > kMostFiles ? kMostFiles / 4 : sizing_hint / 4;
    sizes.buckets = kFewestBuckets;
    while (static_cast<std::int32_t>(sizes.buckets) < hinted) sizes.buckets *= 2;
    return sizes;
}

/// A file that the manager opens and closes. Derived classes know what is in it.
///
/// Units, errors and threads are those of the manager. Owns its name.
class UtFileManager::File : public TgUncopyable {
public:
    virtual ~File();

    /// Closes the system's file. Success marks it closed; failure stores the code and changes
    /// nothing else. Not called while anybody uses the file.
    virtual AccessStatus close() noexcept = 0;

    /// Opens the system's file again. Success marks it open; failure stores the code and changes
    /// nothing else.
    virtual AccessStatus reopen() noexcept = 0;

    /// Gives up everything but the name: the manager goes while the file is in use.
    virtual void Outlive() noexcept {}

    bool IsOpen() const {
        // acquire: pairs with the release in MarkOpen(), so that what was read at opening is seen
        return is_open_.load(std::memory_order_acquire);
    }
    /// False: the attempt to open it failed.
    bool IsUsable() const { return is_usable_; }
    /// Of the last open, close or reopen that failed; 0 when none did.
    std::int32_t LastError() const { return last_error_.load(std::memory_order_relaxed); }
    /// The manager is gone: nothing can be read, and uses end with ReleaseOutlived().
    bool HasOutlivedManager() const { return has_outlived_.load(std::memory_order_relaxed); }
    /// It is to be closed and opened again as soon as nobody uses it.
    bool WantsRenewal() const { return wants_renewal_.load(std::memory_order_relaxed); }
    /// Null for a file without a name.
    const char* Name() const { return name_.get(); }
    /// See ptc/files/file_identity.h. Changes only while nobody holds the file.
    std::uint32_t Identity() const { return identity_.load(std::memory_order_relaxed); }
    /// Threads that hold the file, and the manager.
    std::uint32_t References() const { return references_.load(std::memory_order_relaxed); }

protected:
    /// Copies `name`, which may be null.
    explicit File(const char* name);

    void MarkOpen() {
        // release: pairs with the acquire in IsOpen()
        is_open_.store(true, std::memory_order_release);
    }
    void MarkClosed() { is_open_.store(false, std::memory_order_relaxed); }
    /// Stores code and reason of a failure, and hands `status` through. An empty reason is the
    /// system's.
    AccessStatus Remember(AccessStatus status, std::string reason = {}) noexcept;
    /// For the opener: the first attempt failed.
    void MarkUnusable() { is_usable_ = false; }
    /// Keeps the manager from closing the file: what it holds is nowhere else.
    void StayOpen(bool stays) { stays_open_.store(stays, std::memory_order_relaxed); }
    /// Becomes another file for the caches. False: there is no identity left.
    bool RenewIdentity();

private:
    friend class UtFileManager;

    void CopyFailure(FileFailure* why) const noexcept;

    struct FreeText {
        void operator()(char* text) const;
    };

    File(const char* name, std::uint32_t identity, bool is_reservation);

    // Guarded by the idle list's lock.
    File* next_ = nullptr;
    File* previous_ = nullptr;
    bool is_listed_ = false;

    // Atomic. The count changes only under the bucket's lock, but a reservation's.
    std::atomic<std::uint32_t> references_{1};
    std::atomic<bool> is_open_{false};
    std::atomic<bool> stays_open_{false};
    std::atomic<bool> wants_renewal_{false};
    std::atomic<bool> has_outlived_{false};
    std::atomic<std::int32_t> last_error_{0};
    std::atomic<std::uint32_t> identity_;

    // Immutable once the opener has handed the file over.
    bool is_usable_ = true;
    const bool is_reservation_;
    const std::unique_ptr<char, FreeText> name_;

    // Guarded by the bucket's lock; only the holder of `opening_` changes it.
    bool is_closing_ = false;

    // Guarded by `opening_`. Does not change any more once the file is unusable.
    std::string last_reason_;

    // Written while the manager is let go; guarded by create_lock from then on.
    std::uint32_t uses_left_ = 0;
    bool is_left_alone_ = false;  ///< the manager is destroyed: the last use destroys the file

    TgMutex opening_;
};

/// Makes the object for a name that nobody has asked for yet.
class UtFileManager::Opener {
public:
    Opener() = default;
    Opener(const Opener&) = delete;
    Opener& operator=(const Opener&) = delete;
    virtual ~Opener() = default;

    /// A new object: open and usable, or neither and with the reason as its last error. Null: it
    /// cannot be made. Runs with no lock held but the one that keeps others from opening `name`.
    virtual std::unique_ptr<File> open(const char* name) noexcept = 0;

    /// What kind of file it makes, in a word.
    virtual const char* type() const = 0;
};
