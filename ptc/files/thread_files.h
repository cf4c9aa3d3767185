// ThreadFiles -- the files that one thread holds, and how often it uses each.
//
// A thread keeps a file that it has given back, up to its allowance, so that asking for the same
// names again and again touches nothing that threads share. It keeps none while as many files are
// open as may be: then others need them to be idle. When the system has no descriptors left,
// another thread may take back what this one keeps without using it.
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
// The owner reads its slots without the lock. A hold changes hands by its count of uses alone:
//
//            Open() +1              TakeUnused()
//   n ... 1 <----------> 0 (kept) ----------------> taken: the slot waits for the owner to empty it
//            Release() -1
//
// Only 0 -> 1 and 0 -> taken race, so only they are compare-and-swaps: opening a file that the
// thread keeps takes one locked instruction, and none if the thread uses it already.

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
///   manager_   its maker                        the owner: never changes
///   slots_     the owner; whoever frees it      the owner; any thread under the lock
///   the rest   the owner                        the owner
///
/// The slots are a hash table: a file's search begins at (identity * 3) & (slots - 1) and goes on
/// from slot to slot up to the first empty one.
class ThreadFiles : public TgUncopyable {
public:
    using File = UtFileManager::File;

    explicit ThreadFiles(std::shared_ptr<UtFileManager> manager);
    ~ThreadFiles();

    /// The file called `name`, open and used once more by this thread, or null. `opener` and
    /// `*opened` are those of UtFileManager::Acquire().
    File* Open(const char* name, UtFileManager::Opener& opener, bool* opened,
               FileFailure* why = nullptr);

    /// What Open() answers for a file that this thread keeps or uses already; null for others.
    File* OpenKept(const char* name) noexcept;

    /// One use of `file` fewer. A file that this thread does not use is ignored.
    void Release(File& file) noexcept;

    /// Gives back the hold on one file that is not used. False: there is none.
    bool GiveBackOne() noexcept;

    /// See UtFileManager::Renew(). Caller: holds the file, in this table or beside it.
    AccessStatus Renew(File& file, FileFailure* why = nullptr) noexcept;

    /// Takes holds that are not used, of any file or of `only`, for the caller to give back; as
    /// many as fit into `taken`. Answers their number. Any thread.
    std::size_t TakeUnused(const File* only, std::span<File*> taken) noexcept;

    /// Calls `use(file, uses)` for every file that is used. Caller: the owner is not inside.
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
    static constexpr std::uint32_t kTaken = 0xFFFFFFFF;  ///< as a count of uses
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

    // Guarded by the manager's lock of tables.
    ThreadFiles* next_ = nullptr;
    ThreadFiles** back_ = nullptr;  ///< the pointer that points here

    TgSpinByte lock_;
    std::vector<Slot> slots_;  ///< a power of two; read by the owner without the lock
    std::size_t held_ = 0;     ///< occupied slots
    std::size_t hand_ = 0;     ///< where the search for an unused file goes on
};
