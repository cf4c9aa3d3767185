// ThreadFiles -- the files that one thread holds, and how often it uses each.
//
// A thread keeps files that it has released, up to its allowance, so that requests for the same
// names again and again touch nothing that threads share. It keeps none while the limit of open
// files is reached, so that the manager can close them for other threads. When the system has no
// descriptor left, or a file must be renewed, other threads may take the holds that this one keeps
// without using them.
//
// Units      files and uses are counted.
// Errors     null for a file that cannot be opened. Throws std::bad_alloc when memory runs out, and
//            changes nothing.
// Ownership  owns one hold on each file in it, and a share of the manager.
// Threads    its own thread only, except TakeUnused() and ForEachUse().
//
// Locks:
//
//   rank  lock    count      guards
//   26    lock_   1 a table  changes of the slots by the owner, reading them by other threads
//
// The owner reads its slots without the lock. The count of uses alone decides who has the hold:
//
//            Open() +1              TakeUnused()
//   n ... 1 <----------> 0 (kept) ----------------> kTaken: the taker has the hold; the owner
//            Release() -1                           empties the slot later
//
// The thread whose compare-and-swap changes 0 has the hold. Only 0 -> 1 and 0 -> kTaken can
// collide, so only they are compare-and-swaps: opening a file that the thread keeps takes one
// locked instruction, and none if the thread uses it already.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "ptc/files/file_manager.h"

/// Made by the thread's first request; freed when the thread ends, or by UtFileManager::Shutdown()
/// if that is earlier. Both give every hold back.
///
///   member     written by                       read by
///   manager_   the constructor                  the owner: never changes
///   slots_     the owner; the thread that       the owner; any thread under the lock
///              frees the table
///   the rest   the owner                        the owner
///
/// Other threads write only one thing: the count of uses, from 0 to kTaken.
///
/// The slots are a hash table: the search for a file begins at (identity * 3) & (slots - 1) and
/// continues with the next slots up to the first empty one.
class ThreadFiles : public TgUncopyable {
public:
    using File = UtFileManager::File;

    explicit ThreadFiles(std::shared_ptr<UtFileManager> manager);
    ~ThreadFiles();

    /// The file called `name`, open, with one more use by this thread; or null. `opener`, `*opened`
    /// and `*why` are those of UtFileManager::Acquire().
    File* Open(const char* name, UtFileManager::Opener& opener, bool* opened,
               FileFailure* why = nullptr);

    /// What Open() answers for a file that this thread keeps or uses; null for others.
    File* OpenKept(const char* name) noexcept;

    /// Ends one use of `file`. Does nothing if this thread does not use it.
    void Release(File& file) noexcept;

    /// Gives back the hold on one file that this thread does not use. False: there is none.
    bool GiveBackOne() noexcept;

    /// See UtFileManager::Renew(). Caller: holds the file, in this table or beside it.
    AccessStatus Renew(File& file, FileFailure* why = nullptr) noexcept;

    /// Takes holds without a use, on `only` or, if that is null, on any file, up to the size of
    /// `taken`; the caller gives them back. Answers their number. Any thread.
    std::size_t TakeUnused(const File* only, std::span<File*> taken) noexcept;

    /// Calls `use(file, uses)` for every file that the owner uses. Any thread.
    /// Caller: the owner is not inside.
    template <class Use>
    void ForEachUse(Use use) noexcept {
        TgSpinGuard hold(lock_);
        for (const Slot& slot : slots_)
            if (slot.file && UsesOf(slot) > 0) use(*slot.file, UsesOf(slot));
    }

    UtFileManager& Manager() { return *manager_; }
    /// How often this thread uses `file`.
    std::uint32_t Uses(const File& file) const;
    std::size_t Held() const { return held_; }
    std::size_t Capacity() const { return slots_.size(); }

private:
    friend class UtFileManager;

    struct Slot {
        File* file = nullptr;
        std::atomic<std::uint32_t> uses{0};

        Slot() = default;
        Slot(File* held, std::uint32_t count) : file(held), uses(count) {}
        Slot(const Slot& other) : Slot(other.file, other.uses.load(std::memory_order_relaxed)) {}
        Slot& operator=(const Slot& other) {
            if (this == &other) return *this;
            file = other.file;
            uses.store(other.uses.load(std::memory_order_relaxed), std::memory_order_relaxed);
            return *this;
        }
    };
    static constexpr std::uint32_t kTaken = 0xFFFFFFFF;  ///< count of uses: the hold is gone
    static constexpr std::size_t kNone = ~std::size_t{0};

    static std::uint32_t UsesOf(const Slot& slot) {
        const std::uint32_t uses = slot.uses.load(std::memory_order_relaxed);
        return uses == kTaken ? 0 : uses;
    }

    std::size_t Home(std::uint32_t identity) const { return (identity * 3U) & Mask(); }
    std::size_t Mask() const { return slots_.size() - 1; }
    std::size_t Find(const File& file) const;
    std::size_t FindByName(std::string_view name) const;
    bool Use(std::size_t index) noexcept;
    bool TakeOut(std::size_t index) noexcept;
    void Insert(const Slot& slot) noexcept;
    void Place(const Slot& slot) noexcept UTIL_REQUIRES(lock_);
    void Erase(std::size_t index) noexcept UTIL_REQUIRES(lock_);
    void Grow();

    const std::shared_ptr<UtFileManager> manager_;

    // Guarded by the manager's tables_lock_.
    ThreadFiles* next_ = nullptr;
    ThreadFiles** back_ = nullptr;  ///< the pointer to this table: the list's head or a next_

    TgSpinByte lock_;
    std::vector<Slot> slots_;  ///< a power of two of them; the owner reads them without the lock
    std::size_t held_ = 0;     ///< occupied slots
    std::size_t hand_ = 0;     ///< the slot where GiveBackOne() continues its search
};
