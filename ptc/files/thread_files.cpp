// A thread's table of files: opening, releasing, and the hash table itself.

#include "ptc/files/thread_files.h"

#include <cstring>
#include <utility>

#include "ptc/files/file_identity.h"

ThreadFiles::ThreadFiles(std::shared_ptr<UtFileManager> manager) : manager_(std::move(manager)) {
    std::size_t slots = 1;
    while (slots < 2 * static_cast<std::size_t>(manager_->GetSizes().allowance)) slots *= 2;
    slots_.resize(slots);
    TgSpinGuard hold(manager_->tables_lock_);
    next_ = manager_->tables_;
    back_ = &manager_->tables_;
    if (next_) next_->back_ = &next_;
    manager_->tables_ = this;
}

ThreadFiles::~ThreadFiles() {
    {
        TgSpinGuard hold(manager_->tables_lock_);
        *back_ = next_;
        if (next_) next_->back_ = back_;
    }
    for (const Slot& slot : slots_)
        if (slot.file && slot.uses.load(std::memory_order_relaxed) != kTaken)
            manager_->GiveBack(*slot.file);
}

ThreadFiles::File* ThreadFiles::OpenKept(const char* name) noexcept {
    const std::size_t known = FindByName(name);
    if (known == kNone || !slots_[known].file->IsOpen()) return nullptr;
    File* const file = slots_[known].file;
    return Use(known) ? file : nullptr;
}

ThreadFiles::File* ThreadFiles::Open(const char* name, UtFileManager::Opener& opener, bool* opened,
                                     FileFailure* why) {
    *opened = false;
    if (File* const kept = OpenKept(name)) return kept;
    if (held_ == slots_.size()) Grow();  // first, so that nothing can fail after Acquire()
    File* const file = manager_->Acquire(name, opener, *this, opened, why);
    if (!file) return nullptr;
    // Searched again, because Acquire() may have given back files of this table to make room.
    if (const std::size_t held = Find(*file); held != kNone && Use(held)) {
        manager_->GiveBack(*file);  // a table has one hold on each file
        return file;
    }
    Insert({file, 1});
    if (held_ > static_cast<std::size_t>(manager_->GetSizes().allowance)) GiveBackOne();
    return file;
}

/// Counts one use more. False: another thread has taken the hold; the slot is empty now. From one
/// use on, no other thread writes the count, so a plain store is enough.
bool ThreadFiles::Use(std::size_t index) noexcept {
    std::atomic<std::uint32_t>& count = slots_[index].uses;
    std::uint32_t uses = count.load(std::memory_order_relaxed);
    if (uses == 0 && count.compare_exchange_strong(uses, 1, std::memory_order_relaxed)) return true;
    if (uses == kTaken) {
        (void)TakeOut(index);
        return false;
    }
    count.store(uses + 1, std::memory_order_relaxed);
    return true;
}

void ThreadFiles::Release(File& file) noexcept {
    const std::size_t index = Find(file);
    if (index == kNone) return;
    const std::uint32_t uses = UsesOf(slots_[index]);
    if (uses == 0) return;
    // release: pairs with the acquire in TakeUnused(), so that the thread that takes the hold and
    // closes the file comes after this thread's reads
    slots_[index].uses.store(uses - 1, std::memory_order_release);
    // For the compiler: UtFileManager::Renew() has the barrier between this and the reading below.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (uses > 1) return;
    if (held_ <= static_cast<std::size_t>(manager_->GetSizes().allowance) && !manager_->IsFull() &&
        !file.WantsRenewal())
        return;
    if (TakeOut(index)) manager_->GiveBack(file);
}

AccessStatus ThreadFiles::Renew(File& file, FileFailure* why) noexcept {
    const std::uint32_t uses = Uses(file);
    if (uses == 0) return manager_->Renew(file, true, *this, why);
    (void)TakeOut(Find(file));  // never fails: other threads take only holds without a use
    const AccessStatus status = manager_->Renew(file, uses == 1, *this, why);
    Insert({&file, uses});
    return status;
}

std::size_t ThreadFiles::TakeUnused(const File* only, std::span<File*> taken) noexcept {
    std::size_t count = 0;
    TgSpinGuard hold(lock_);
    for (Slot& slot : slots_) {
        if (count == taken.size()) break;
        if (!slot.file || (only && slot.file != only)) continue;
        std::uint32_t unused = 0;
        // acquire: pairs with the release in Release(), so that closing the file comes after the
        // owner's reads
        if (slot.uses.compare_exchange_strong(unused, kTaken, std::memory_order_acquire,
                                              std::memory_order_relaxed))
            taken[count++] = slot.file;
    }
    return count;
}

/// Empties a slot. True: the caller must give the hold back. False: another thread has taken it.
/// Reads the count under the lock: TakeUnused() writes kTaken under it, so the two agree.
bool ThreadFiles::TakeOut(std::size_t index) noexcept {
    TgSpinGuard hold(lock_);
    const bool is_ours = slots_[index].uses.load(std::memory_order_relaxed) != kTaken;
    Erase(index);
    return is_ours;
}

bool ThreadFiles::GiveBackOne() noexcept {
    if (held_ == 0) return false;
    for (std::size_t looked_at = 0; looked_at < slots_.size(); ++looked_at) {
        hand_ = (hand_ + 1) & Mask();
        File* const file = slots_[hand_].file;
        if (!file || UsesOf(slots_[hand_]) > 0 || !TakeOut(hand_)) continue;
        manager_->GiveBack(*file);
        return true;
    }
    return false;
}

std::uint32_t ThreadFiles::Uses(const File& file) const {
    const std::size_t index = Find(file);
    return index == kNone ? 0 : UsesOf(slots_[index]);
}

std::size_t ThreadFiles::Find(const File& file) const {
    std::size_t index = Home(file.Identity());
    for (std::size_t probed = 0; probed < slots_.size() && slots_[index].file; ++probed) {
        if (slots_[index].file == &file) return index;
        index = (index + 1) & Mask();
    }
    return kNone;
}

/// Finds a file before its identity is known. The name's hash leads to the same slot as the
/// identity as long as the mask has no more bits than the two have in common. In a larger table
/// this finds nothing, and the manager searches by the name.
std::size_t ThreadFiles::FindByName(std::string_view name) const {
    if (Mask() > file_identity::kNameMask) return kNone;
    const std::uint32_t hash = file_identity::NameHash(name) & file_identity::kNameMask;
    std::size_t index = Home(hash);
    for (std::size_t probed = 0; probed < slots_.size() && slots_[index].file; ++probed) {
        const File& file = *slots_[index].file;
        if ((file.Identity() & file_identity::kNameMask) == hash && name == file.Name())
            return index;
        index = (index + 1) & Mask();
    }
    return kNone;
}

/// Caller: there is an empty slot, and the file is not in the table.
void ThreadFiles::Insert(const Slot& slot) noexcept {
    TgSpinGuard hold(lock_);
    Place(slot);
}

void ThreadFiles::Place(const Slot& slot) noexcept {
    std::size_t index = Home(slot.file->Identity());
    while (slots_[index].file) index = (index + 1) & Mask();
    slots_[index] = slot;
    ++held_;
}

/// Empties a slot and moves later files into the gap, because a search ends at the first empty
/// slot: no empty slot may lie between a file and the slot where its search begins.
void ThreadFiles::Erase(std::size_t index) noexcept {
    std::size_t gap = index;
    for (std::size_t i = (index + 1) & Mask(); i != index && slots_[i].file; i = (i + 1) & Mask()) {
        const std::size_t from_home = (i - Home(slots_[i].file->Identity())) & Mask();
        const std::size_t from_gap = (i - gap) & Mask();
        if (from_home < from_gap) continue;  // its search begins after the gap
        slots_[gap] = slots_[i];
        gap = i;
    }
    slots_[gap] = {};
    --held_;
}

void ThreadFiles::Grow() {
    std::vector<Slot> larger(2 * slots_.size());
    TgSpinGuard hold(lock_);
    slots_.swap(larger);
    held_ = 0;
    for (const Slot& slot : larger)
        if (slot.file) Place(slot);
}
