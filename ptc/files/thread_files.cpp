// A thread's table: probing, keeping, growing, closing gaps.

#include "ptc/files/thread_files.h"

#include <cstring>
#include <utility>

#include "ptc/files/file_identity.h"

ThreadFiles::ThreadFiles(std::shared_ptr<UtFileManager> manager) : manager_(std::move(manager)) {
    std::size_t slots = 1;
    while (slots < 2 * static_cast<std::size_t>(manager_->GetSizes().allowance)) slots *= 2;
    slots_.resize(slots);
}

ThreadFiles::~ThreadFiles() {
    for (const Slot& slot : slots_)
        if (slot.file) manager_->GiveBack(*slot.file);
}

ThreadFiles::File* ThreadFiles::Open(const char* name, UtFileManager::Opener& opener,
                                     bool* opened) {
    *opened = false;
    const std::size_t known = FindByName(name);
    if (known != kNone && slots_[known].file->IsOpen()) {
        ++slots_[known].uses;
        return slots_[known].file;
    }
    if (held_ == slots_.size()) Grow();  // ahead, so that nothing can fail behind the acquiring
    File* const file = manager_->Acquire(name, opener, *this, opened);
    if (!file) return nullptr;
    // Looked for again: an Acquire() that found no room has given files of this table back.
    if (const std::size_t held = Find(*file); held != kNone) {
        ++slots_[held].uses;
        manager_->GiveBack(*file);  // one hold a thread
        return file;
    }
    Insert({file, 1});
    if (held_ > static_cast<std::size_t>(manager_->GetSizes().allowance)) GiveBackOne();
    return file;
}

void ThreadFiles::Release(File& file) noexcept {
    const std::size_t index = Find(file);
    if (index == kNone || slots_[index].uses == 0) return;
    if (--slots_[index].uses > 0) return;
    if (held_ <= static_cast<std::size_t>(manager_->GetSizes().allowance) && !manager_->IsFull())
        return;
    Erase(index);
    manager_->GiveBack(file);
}

bool ThreadFiles::GiveBackOne() noexcept {
    if (held_ == 0) return false;
    for (std::size_t looked_at = 0; looked_at < slots_.size(); ++looked_at) {
        hand_ = (hand_ + 1) & Mask();
        const Slot slot = slots_[hand_];
        if (!slot.file || slot.uses > 0) continue;
        Erase(hand_);
        manager_->GiveBack(*slot.file);
        return true;
    }
    return false;
}

std::uint32_t ThreadFiles::Uses(const File& file) const {
    const std::size_t index = Find(file);
    return index == kNone ? 0 : slots_[index].uses;
}

std::size_t ThreadFiles::Find(const File& file) const {
    std::size_t index = Home(file.Identity());
    for (std::size_t probed = 0; probed < slots_.size() && slots_[index].file; ++probed) {
        if (slots_[index].file == &file) return index;
        index = (index + 1) & Mask();
    }
    return kNone;
}

/// Finds a file before its identity is known: the name's hash leads to the same slot as long as
/// the mask takes no more bits than the two have in common. A larger table leaves it to the
/// manager.
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
    std::size_t index = Home(slot.file->Identity());
    while (slots_[index].file) index = (index + 1) & Mask();
    slots_[index] = slot;
    ++held_;
}

/// Empties a slot and closes the gap: files behind it move up, so that none is cut off from the
/// slot where its search begins.
void ThreadFiles::Erase(std::size_t index) noexcept {
    std::size_t gap = index;
    for (std::size_t i = (index + 1) & Mask(); i != index && slots_[i].file; i = (i + 1) & Mask()) {
        const std::size_t from_home = (i - Home(slots_[i].file->Identity())) & Mask();
        const std::size_t from_gap = (i - gap) & Mask();
        if (from_home < from_gap) continue;  // its search begins behind the gap
        slots_[gap] = slots_[i];
        gap = i;
    }
    slots_[gap] = {};
    --held_;
}

void ThreadFiles::Grow() {
    std::vector<Slot> larger(2 * slots_.size());
    slots_.swap(larger);
    held_ = 0;
    for (const Slot& slot : larger)
        if (slot.file) Insert(slot);
}
