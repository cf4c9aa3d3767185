// UtFileManager -- one object for each file name, and a limit on how many of them are open.
//
// Units      files are counted; error codes are errno values.
// Errors     a file that cannot be opened is a null pointer, and its object keeps the code. Memory
//            that cannot be had throws std::bad_alloc and leaves everything as it was.
// Ownership  the manager owns its files until it goes, which is after Shutdown() and the end of
//            the last thread's table. Callers own holds, never files.
// Threads    every member from any thread, but for BrokenPromise().
//
// Locks, in the order in which they may be taken:
//
//   rank  lock           count         guards
//   20    create_lock    1             the one manager, while it is made and let go
//   21    opening_       1 a file      the file's opening, reopening and closing
//   23    bucket_locks_  512           the buckets, and the counts and flags of the files in them
//   24    idle lock_     1             the idle list and its links
//
//   - a thread takes one bucket lock at a time, and the idle list's inside it, never around it:
//     who closes an idle file takes it off the list first, then looks at it again in its bucket;
//   - no file is opened, reopened or closed, and no memory allocated, under ranks 23 and 24;
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

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "util/base/results.h"
#include "util/base/tg_lock.h"

class TgStats;
class ThreadFiles;

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

    /// Lets the manager go: every thread's holds are given back and the files destroyed.
    /// Caller: no other thread uses a file or asks for one; threads may be ending meanwhile.
    static void Shutdown();

    explicit UtFileManager(const Sizes& sizes);
    ~UtFileManager();

    /// The file called `name`, open and held once more, for `asking`; null when it cannot be
    /// opened. `opener` makes the object when nobody has asked for the name before; `*opened`
    /// tells whether this very call did so with success.
    File* Acquire(const char* name, Opener& opener, ThreadFiles& asking, bool* opened);

    /// Opens a file that is closed although it is held. Caller: holds it.
    AccessStatus BringOpen(File& file, ThreadFiles& asking);

    /// Closes a file and opens it again. Caller: holds it, and so may others.
    AccessStatus Reopen(File& file, ThreadFiles& asking);

    /// Takes one hold back. The last one makes the file idle.
    void GiveBack(File& file) noexcept;

    const Sizes& GetSizes() const { return sizes_; }
    std::int32_t OpenFiles() const { return open_files_.load(std::memory_order_relaxed); }
    /// Whether one file more would be one too many, so that nothing unused should be kept.
    bool IsFull() const { return OpenFiles() >= sizes_.limit; }

    /// Stores the counts of files and the names of those that were opened.
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
        void Remove(File& file) noexcept;
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
    bool OpenUnknown(const char* name, std::uint32_t hash, Opener& opener, ThreadFiles& asking,
                     File** opened);
    static File* FindIn(const Bucket& bucket, std::string_view name);
    std::unique_ptr<File> RunOpener(const char* name, Opener& opener, ThreadFiles& asking);
    /// `opening`: the proof that the file's lock is held.
    AccessStatus OpenAgain(File& file, ThreadFiles& asking, const TgMutexGuard& opening);
    void MakeRoom(ThreadFiles& asking) noexcept;
    void CloseForDescriptors(ThreadFiles& asking) noexcept;
    int CloseIdle(int wanted) noexcept;
    bool CloseVictim(File& victim) noexcept;
    bool ListIfIdle(File& file, const BucketHold& bucket) noexcept;
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
    /// nothing else. Not called while anybody holds the file, but by UtFileManager::Reopen().
    virtual AccessStatus close() noexcept = 0;

    /// Opens the system's file again. Success marks it open; failure stores the code and changes
    /// nothing else.
    virtual AccessStatus reopen() noexcept = 0;

    bool IsOpen() const {
        // acquire: pairs with the release in MarkOpen(), so that what was read at opening is seen
        return is_open_.load(std::memory_order_acquire);
    }
    /// False: the attempt to open it failed.
    bool IsUsable() const { return is_usable_; }
    /// Of the last open, close or reopen that failed; 0 when none did.
    std::int32_t LastError() const { return last_error_.load(std::memory_order_relaxed); }
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
    /// Stores the code of a failure, and hands `status` through.
    AccessStatus Remember(AccessStatus status);
    /// For the opener: the first attempt failed.
    void MarkUnusable() { is_usable_ = false; }
    /// Keeps the manager from closing the file: what it holds is nowhere else.
    void StayOpen(bool stays) { stays_open_.store(stays, std::memory_order_relaxed); }
    /// Becomes another file for the caches. False: there is no identity left.
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

    // Atomic. The count changes only under the bucket's lock, but a reservation's.
    std::atomic<std::uint32_t> references_{1};
    std::atomic<bool> is_open_{false};
    std::atomic<bool> stays_open_{false};
    std::atomic<std::int32_t> last_error_{0};
    std::atomic<std::uint32_t> identity_;

    // Immutable once the opener has handed the file over.
    bool is_usable_ = true;
    const bool is_reservation_;
    const std::unique_ptr<char, FreeText> name_;

    // Guarded by the bucket's lock; only who holds `opening_` changes it.
    bool is_closing_ = false;

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
