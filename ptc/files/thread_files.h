// ThreadFiles -- the files that one thread holds, and how often it uses each.
//
// A thread keeps a file that it has given back, up to its allowance, so that asking for the same
// names again and again touches nothing that threads share. It keeps none while as many files are
// open as may be: then others need them to be idle.
//
// Units      files and uses are counted.
// Errors     null for a file that cannot be opened. Memory that cannot be had throws
//            std::bad_alloc and changes nothing.
// Ownership  owns one hold on each file in it, and a share of the manager.
// Threads    its own thread only.

#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "ptc/files/file_manager.h"

/// Made by the thread's first request; freed when the thread ends, or by UtFileManager::Shutdown()
/// if that is earlier. Both give every hold back.
///
///   member     written by                       read by
///   manager_   its maker                        the owner: never changes
///   slots_     the owner; whoever frees it      the owner
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
    File* Open(const char* name, UtFileManager::Opener& opener, bool* opened);

    /// One use of `file` fewer. A file that this thread does not use is ignored.
    void Release(File& file) noexcept;

    /// Gives back the hold on one file that is not used. False: there is none.
    bool GiveBackOne() noexcept;

    UtFileManager& Manager() { return *manager_; }
    /// How often this thread uses `file`.
    std::uint32_t Uses(const File& file) const;
    std::size_t Held() const { return held_; }
    std::size_t Capacity() const { return slots_.size(); }

private:
    struct Slot {
        File* file = nullptr;
        std::uint32_t uses = 0;
    };
    static constexpr std::size_t kNone = ~std::size_t{0};

    std::size_t Home(std::uint32_t identity) const { return (identity * 3U) & Mask(); }
    std::size_t Mask() const { return slots_.size() - 1; }
    std::size_t Find(const File& file) const;
    std::size_t FindByName(std::string_view name) const;
    void Insert(const Slot& slot) noexcept;
    void Erase(std::size_t index) noexcept;
    void Grow();

    const std::shared_ptr<UtFileManager> manager_;
    std::vector<Slot> slots_;  ///< a power of two
    std::size_t held_ = 0;     ///< occupied slots
    std::size_t hand_ = 0;     ///< where the search for an unused file goes on
};
