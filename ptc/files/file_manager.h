// UtFileManager -- keeps one object for each file name, and limits how many files are open.
//
// Units      files are counted; error codes are errno values.
// Errors     a file that cannot be opened is a null pointer, and its object keeps code and reason.
//            Throws std::bad_alloc when memory runs out, and changes nothing then.
// Ownership  the manager owns its files. It is destroyed after Shutdown(), with the last thread's
//            table. Callers own holds, never files. A file that is in use at the shutdown is
//            closed, and its object lives until its last use is released.
// Threads    any thread may call any member except BrokenPromise().
//
// Locks, in the order in which they may be taken:
//
//   rank  lock           count         guards
//   20    create_lock    1             making and releasing the one manager; the files that outlive
//                                      a manager
//   21    opening_       1 a file      the file's opening, reopening and closing
//   22    shortage_lock_ 1             closing files because descriptors ran out
//   23    bucket_locks_  512           the buckets, and the counts and flags of the files in them
//   24    idle lock_     1             the idle list and its links
//   25    tables_lock_   1             the list of all threads' tables
//   26    lock_          1 a table     see ptc/files/thread_files.h
//
//   - a thread holds one bucket lock at a time. It takes the idle list's lock inside a bucket lock,
//     never the other way round: to close an idle file, it removes the file from the list, releases
//     the list's lock, and checks the file again under its bucket's lock;
//   - no file is opened, reopened or closed, and no memory allocated, under ranks 23 to 26;
//   - a thread that has one `opening_` only tries another one and never waits for it.
//
// The life of a file:
//
//             opener failed
//   (opening) ----------------> FAILED     never handed out; keeps the opener's error
//       |                                  (not after a shortage: the next request tries again)
//       | opener succeeded
//       v         first hold                close() by the manager
//     USED <---------------------- IDLE -------------------------> CLOSED
//       | ------------------------> ^                                 |
//       |      last hold            |                                 |
//       ^ given back            on the list                           |
//       +-------------------------------------------------------------+
//                      reopen(), by the next hold
//
// The limit is soft. The manager closes only idle files for it. While no file is idle, more files
// than the limit may be opened; each file that is given back then closes one file. If that fails,
// or another thread has that file's `opening_`, the next file that is given back tries again.
//
// The system's limit of descriptors is hard. When it is reached, the manager takes from the tables
// of all threads files that are kept there without being used and closes them, until the opening
// succeeds or no such file is left.

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

/// Why a file could not be opened: an error code, and the reason in words unless the code is the
/// system's.
struct FileFailure {
    std::int32_t code = 0;
    std::string reason;
};

class UtFileManager : public TgUncopyable {
public:
    class File;
    class Opener;

    /// What Create() computes from its arguments.
    struct Sizes {
        std::int32_t limit;      ///< files open at once, 1 to kMostFiles
        std::int32_t allowance;  ///< files that a thread may keep without using them
        std::uint32_t buckets;   ///< a power of two
    };
    static constexpr std::int32_t kMostFiles = 1 << 16;
    static constexpr Sizes SizesFor(int threads, int limit, int sizing_hint);

    /// Makes the process's manager. If there is one, nothing changes: it keeps its sizes.
    static void Create(int threads, int limit, int sizing_hint);

    /// The calling thread's table, made by the thread's first call. Null when there is no manager,
    /// or when the system has no thread key left for the tables.
    static ThreadFiles* Get();

    /// Releases the manager: gives every thread's holds back and destroys the files. A file that is
    /// in use is closed for good; ReleaseOutlived() destroys it later.
    /// Caller: no other thread uses or requests a file; threads may be ending meanwhile.
    static void Shutdown();

    /// Releases one use of a file that has outlived its manager. The last release destroys it.
    static void ReleaseOutlived(File& file) noexcept;

    explicit UtFileManager(const Sizes& sizes);
    ~UtFileManager();

    /// The file called `name`, open, with one more hold, for the table `asking`. Null when it
    /// cannot be opened; then `*why`, unless null, has the reason. `opener` makes the object if the
    /// name is requested for the first time; `*opened`: this call did so and succeeded.
    File* Acquire(const char* name, Opener& opener, ThreadFiles& asking, bool* opened,
                  FileFailure* why);

    /// Opens a held file if it is closed. Caller: holds it.
    AccessStatus BringOpen(File& file, ThreadFiles& asking, FileFailure* why = nullptr);

    /// Closes a file that was written, and opens it for reading. Caller: is its only holder.
    AccessStatus Reopen(File& file, ThreadFiles& asking);

    /// Closes a file that is read, and opens it again. If other threads use the file, or
    /// `is_only_use` is false, this only marks it: it is closed when its last hold is given back,
    /// and the next request opens it. Caller: holds the file and has removed it from `asking`,
    /// because the opening may change its identity, which determines its slot there.
    AccessStatus Renew(File& file, bool is_only_use, ThreadFiles& asking,
                       FileFailure* why) noexcept;

    /// Adds a hold on a file of this manager, open or not.
    void HoldAgain(File& file) noexcept;

    /// Ends one hold. The end of the last thread's hold makes the file idle.
    void GiveBack(File& file) noexcept;

    const Sizes& GetSizes() const { return sizes_; }
    std::int32_t OpenFiles() const { return open_files_.load(std::memory_order_relaxed); }
    /// Whether the limit is reached, so that threads should not keep files that they do not use.
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

    /// The first invariant that is broken, in words; null when there is none.
    /// Caller: no other thread uses the manager.
    const char* BrokenPromise();

private:
    /// Open files that no thread holds; the first is the one that became idle last.
    class IdleFiles {
    public:
        /// Inserts `file` at the head. False: it is listed already.
        bool Push(File& file) noexcept;
        /// Removes the file that has been idle longest, and returns it; null when there is none.
        File* PopTail() noexcept;
        /// False: it is not listed.
        bool Remove(File& file) noexcept;
        bool Lists(const File& file) noexcept;
        int Count() noexcept;
        /// Whether links and count agree. Caller: no other thread uses the manager.
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

    /// What a request finds under a name.
    enum class Condition {
        kUnknown,
        kFailed,
        kBeingOpened,  ///< there is a reservation
        kNotReady,     ///< closed, or another thread is closing it
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
    /// `opening`: proves that the file's `opening_` is held.
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
    std::atomic<std::int32_t> open_files_{0};  ///< includes those that are being opened
    std::atomic<std::uint64_t> opened_{0};
    std::atomic<std::uint64_t> reopened_{0};
    std::atomic<std::uint64_t> reclaimed_{0};
    std::atomic<std::uint64_t> open_errors_{0};

    // Guarded: bucket b by lock b mod 512. A BucketHold proves that it is held.
    static constexpr std::size_t kBucketLocks = 512;
    TgSpinByte bucket_locks_[kBucketLocks];
    std::vector<Bucket> buckets_;

    // Has its own lock.
    IdleFiles idle_;

    TgMutex shortage_lock_;

    // Guarded. Tables insert and remove themselves.
    friend class ThreadFiles;
    TgSpinByte tables_lock_;
    ThreadFiles* tables_ UTIL_GUARDED_BY(tables_lock_) = nullptr;
};

constexpr UtFileManager::Sizes UtFileManager::SizesFor(int threads, int limit, int sizing_hint) {
    constexpr std::uint32_t kFewestBuckets = 1024;
    Sizes sizes{};
    sizes.limit = limit < 1 ? 1 : limit > kMostFiles ? kMostFiles : limit;
    // Signed: with more threads than files it is -1.
    const std::int32_t share = sizes.limit / (threads < 1 ? 1 : threads) - 1;
    sizes.allowance = share <= 1 ? 2 : share;
    const std::int32_t hinted = sizing_hint > kMostFiles ? kMostFiles / 4 : sizing_hint / 4;
    sizes.buckets = kFewestBuckets;
    while (static_cast<std::int32_t>(sizes.buckets) < hinted) sizes.buckets *= 2;
    return sizes;
}

/// A file that the manager opens and closes. Derived classes know what is in it.
///
/// Units, errors and threads: those of the manager. Owns its name.
class UtFileManager::File : public TgUncopyable {
public:
    virtual ~File();

    /// Closes the system's file. On success, marks it closed; on failure, stores the code and
    /// changes nothing else. Caller: no thread uses the file.
    virtual AccessStatus close() noexcept = 0;

    /// Opens the system's file again. On success, marks it open; on failure, stores the code and
    /// changes nothing else.
    virtual AccessStatus reopen() noexcept = 0;

    /// Frees everything except the name: the manager is being destroyed while the file is in use.
    virtual void Outlive() noexcept {}

    bool IsOpen() const {
        // acquire: pairs with the release in MarkOpen(), so that this thread sees what the opening
        // has read
        return is_open_.load(std::memory_order_acquire);
    }
    /// False: the attempt to open it failed.
    bool IsUsable() const { return is_usable_; }
    /// The error code of the last open, close or reopen that failed; 0 when none did.
    std::int32_t LastError() const { return last_error_.load(std::memory_order_relaxed); }
    /// Stores the code and the reason of that failure, unless `why` is null. Caller: no other
    /// thread opens or closes the file, or it is unusable.
    void CopyFailure(FileFailure* why) const noexcept;
    /// The manager has been destroyed: nothing can be read, and ReleaseOutlived() ends the uses.
    bool HasOutlivedManager() const { return has_outlived_.load(std::memory_order_relaxed); }
    /// The file must be closed and opened again as soon as no thread uses it.
    bool WantsRenewal() const { return wants_renewal_.load(std::memory_order_relaxed); }
    /// Null for a file without a name.
    const char* Name() const { return name_.get(); }
    /// See ptc/files/file_identity.h. Changes only in reopen(), while no thread reads the file; the
    /// low bits never change.
    std::uint32_t Identity() const { return identity_.load(std::memory_order_relaxed); }
    /// The number of threads that hold the file, plus one for the manager.
    std::uint32_t Holders() const { return holders_.load(std::memory_order_relaxed); }

protected:
    /// Copies `name`, which may be null.
    explicit File(const char* name);
    /// The same for a file that nobody finds by its name: `low_bits` are those of its identity.
    File(const char* name, std::uint32_t low_bits);

    void MarkOpen() {
        // release: pairs with the acquire in IsOpen()
        is_open_.store(true, std::memory_order_release);
    }
    void MarkClosed() { is_open_.store(false, std::memory_order_relaxed); }
    /// Stores code and reason of a failure, and returns `status`. An empty reason: the system's
    /// text for the code.
    AccessStatus Remember(AccessStatus status, std::string reason = {}) noexcept;
    /// For the opener, when its attempt failed.
    void MarkUnusable() { is_usable_ = false; }
    /// True: the manager does not close the file, because its content is only in memory or is still
    /// being written.
    void StayOpen(bool stays) { stays_open_.store(stays, std::memory_order_relaxed); }
    /// Gives the file a new identity, so that the caches no longer find its blocks. False: there is
    /// no identity left.
    bool RenewIdentity();

private:
    friend class UtFileManager;

    struct FreeText {
        void operator()(char* text) const;
    };

    File(const char* name, std::uint32_t identity, bool is_reservation);

    // Guarded by the idle list's lock.
    File* next_ = nullptr;
    File* previous_ = nullptr;
    bool is_listed_ = false;

    // Atomic. A file's count of holders changes only under the bucket's lock; a reservation's count
    // may decrease without it.
    std::atomic<std::uint32_t> holders_{1};
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

    // Guarded by `opening_`. Never changes after the file has become unusable.
    std::string last_reason_;

    // Written under tables_lock_ by Shutdown(); guarded by create_lock after it.
    std::uint32_t uses_left_ = 0;
    bool is_left_alone_ = false;  ///< the manager is destroyed: the last use destroys the file

    TgMutex opening_;
};

/// Makes the object for a name that is requested for the first time.
class UtFileManager::Opener {
public:
    Opener() = default;
    Opener(const Opener&) = delete;
    Opener& operator=(const Opener&) = delete;
    virtual ~Opener() = default;

    /// A new object: either open and usable, or neither and with the reason as its last error.
    /// Null: it cannot be made. The caller holds only the lock that keeps other threads from
    /// opening `name`.
    virtual std::unique_ptr<File> open(const char* name) noexcept = 0;

    /// What kind of file it makes, in a word.
    virtual const char* type() const = 0;
};
