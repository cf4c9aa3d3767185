// Makes and releases the file manager; the idle list, the counts, the check of the invariants, and
// the base class of files.

#include "ptc/files/file_manager.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <unordered_set>

#include "ptc/files/bucket_hold.h"
#include "ptc/files/file_identity.h"
#include "ptc/files/thread_files.h"
#include "util/base/process_wide.h"
#include "util/base/thread_slot.h"
#include "util/stats/process_stats.h"

namespace {

/// Files that were in use when their manager was destroyed. Those that are never released stay
/// until the unload.
using OutlivedFiles = std::unordered_set<UtFileManager::File*>;

/// Owns the one manager. Tables share the ownership, because a table may give its holds back, at
/// the end of its thread, while another thread releases the manager.
struct Place {
    ~Place() {
        for (const UtFileManager::File* file : outlived) delete file;
    }

    TgMutex create_lock;
    std::shared_ptr<UtFileManager> manager UTIL_GUARDED_BY(create_lock);
    OutlivedFiles outlived UTIL_GUARDED_BY(create_lock);
    /// Registers every thread's table, and outlives all managers. Destroyed first.
    ThreadSlot<ThreadFiles> tables{ThreadSlotEnd::kFreeWithThread};
};

/// A copy for free(); null for null.
char* CopyName(const char* name) {
    if (!name) return nullptr;
    char* const copy = strdup(name);
    if (!copy) throw std::bad_alloc();
    return copy;
}

}  // namespace

void UtFileManager::Create(int threads, int limit, int sizing_hint) {
    auto& place = process_wide::The<Place>();
    TgMutexGuard hold(place.create_lock);
    if (place.manager) return;
    place.manager = std::make_shared<UtFileManager>(SizesFor(threads, limit, sizing_hint));
}

ThreadFiles* UtFileManager::Get() {
    auto& place = process_wide::The<Place>();
    if (ThreadFiles* const table = place.tables.Find()) return table;
    return place.tables.FindOrMake([&]() -> std::unique_ptr<ThreadFiles> {
        std::shared_ptr<UtFileManager> manager;
        {
            TgMutexGuard hold(place.create_lock);
            manager = place.manager;
        }
        if (!manager) return nullptr;
        return std::make_unique<ThreadFiles>(std::move(manager));
    });
}

void UtFileManager::Shutdown() {
    auto& place = process_wide::The<Place>();
    std::shared_ptr<UtFileManager> last;
    {
        TgMutexGuard hold(place.create_lock);
        last.swap(place.manager);
    }
    if (last) last->CountUsesLeft();
    place.tables.DropAll();
    if (last) last->OutliveUsed();
}

/// Adds up for each file how often the threads' tables use it, because its object must live until
/// as many releases have come.
void UtFileManager::CountUsesLeft() noexcept {
    TgSpinGuard hold(tables_lock_);
    for (ThreadFiles* table = tables_; table; table = table->next_)
        table->ForEachUse([](File& file, std::uint32_t uses) { file.uses_left_ += uses; });
}

/// Closes for good what is in use. A thread that is just ending may keep the manager for a moment
/// longer, and nobody may read until then.
void UtFileManager::OutliveUsed() noexcept {
    for (const Bucket& bucket : buckets_) {
        for (File* const file : bucket) {
            if (file->uses_left_ == 0) continue;
            TgMutexGuard hold(file->opening_);  // that thread may be closing it
            file->Outlive();
            file->has_outlived_.store(true, std::memory_order_relaxed);
        }
    }
}

void UtFileManager::ReleaseOutlived(File& file) noexcept {
    auto& place = process_wide::The<Place>();
    TgMutexGuard hold(place.create_lock);
    if (--file.uses_left_ > 0 || !file.is_left_alone_) return;
    place.outlived.erase(&file);
    delete &file;
}

UtFileManager::UtFileManager(const Sizes& sizes) : sizes_(sizes), buckets_(sizes.buckets) {
    constexpr std::size_t kFirstRoom = 4;
    for (Bucket& bucket : buckets_) bucket.reserve(kFirstRoom);
}

UtFileManager::~UtFileManager() {
    for (const Bucket& bucket : buckets_) {
        for (File* file : bucket) {
            if (!file->HasOutlivedManager()) {
                delete file;
                continue;
            }
            auto& place = process_wide::The<Place>();
            TgMutexGuard hold(place.create_lock);
            if (file->uses_left_ == 0) {
                delete file;
                continue;
            }
            file->is_left_alone_ = true;
            try {
                place.outlived.insert(file);
            } catch (const std::bad_alloc&) {
                // Not listed, so the unload does not free it; its last release does.
            }
        }
    }
}

UtFileManager::Counts UtFileManager::GetCounts() const {
    return {opened_.load(std::memory_order_relaxed), reopened_.load(std::memory_order_relaxed),
            reclaimed_.load(std::memory_order_relaxed),
            open_errors_.load(std::memory_order_relaxed)};
}

void UtFileManager::FillStats(TgStats* stats) {
    const Counts counts = GetCounts();
    stats->files_opened.Set(counts.opened);
    stats->files_reopened.Set(counts.reopened);
    stats->files_reclaimed.Set(counts.reclaimed);
    stats->files_open_error.Set(counts.open_errors);
    for (std::uint32_t b = 0; b < buckets_.size(); ++b) {
        for (std::size_t i = 0;; ++i) {
            const File* file;
            {
                const BucketHold hold(*this, b);
                if (i >= buckets_[b].size()) break;
                file = buckets_[b][i];
                if (file->is_reservation_ || !file->is_usable_) continue;
            }
            // Without the lock, because Add() allocates. The file and its name live as long as the
            // manager, because only reservations are ever removed from a bucket.
            stats->file_log.Add(file->Name());
        }
    }
}

const char* UtFileManager::BrokenPromise() {
    std::unordered_set<std::string_view> names;
    int open = 0;
    int idle = 0;
    for (const Bucket& bucket : buckets_) {
        for (const File* file : bucket) {
            const bool should_be_idle = file->Holders() == 1 && file->IsOpen() &&
                                        !file->stays_open_.load(std::memory_order_relaxed);
            if (file->is_reservation_) return "no name waits for an opener";
            if (!names.insert(file->Name()).second) return "each name has one object";
            if (file->Holders() < 1) return "the manager holds each file";
            if (file->is_closing_) return "no file is being closed";
            if (file->IsOpen() && !file->IsUsable()) return "a failed file is not open";
            if (should_be_idle != idle_.Lists(*file))
                return "idle files, and only they, are listed";
            open += file->IsOpen() ? 1 : 0;
            idle += should_be_idle ? 1 : 0;
        }
    }
    if (open != OpenFiles()) return "the count of open files is true";
    if (idle != idle_.Count() || !idle_.LinksHold()) return "the idle list holds together";
    return nullptr;
}

bool UtFileManager::IdleFiles::Push(File& file) noexcept {
    TgSpinGuard hold(lock_);
    if (file.is_listed_) return false;
    file.is_listed_ = true;
    file.previous_ = nullptr;
    file.next_ = head_;
    (head_ ? head_->previous_ : tail_) = &file;
    head_ = &file;
    ++count_;
    return true;
}

UtFileManager::File* UtFileManager::IdleFiles::PopTail() noexcept {
    TgSpinGuard hold(lock_);
    File* const file = tail_;
    if (file) Unlink(*file);
    return file;
}

bool UtFileManager::IdleFiles::Remove(File& file) noexcept {
    TgSpinGuard hold(lock_);
    if (!file.is_listed_) return false;
    Unlink(file);
    return true;
}

bool UtFileManager::IdleFiles::Lists(const File& file) noexcept {
    TgSpinGuard hold(lock_);
    return file.is_listed_;
}

int UtFileManager::IdleFiles::Count() noexcept {
    TgSpinGuard hold(lock_);
    return count_;
}

bool UtFileManager::IdleFiles::LinksHold() noexcept {
    TgSpinGuard hold(lock_);
    const File* last = nullptr;
    int count = 0;
    for (const File* file = head_; file && count <= count_; file = file->next_, ++count) {
        if (file->previous_ != last || !file->is_listed_) return false;
        last = file;
    }
    return last == tail_ && count == count_;
}

void UtFileManager::IdleFiles::Unlink(File& file) noexcept {
    (file.next_ ? file.next_->previous_ : tail_) = file.previous_;
    (file.previous_ ? file.previous_->next_ : head_) = file.next_;
    file.is_listed_ = false;
    --count_;
}

UtFileManager::File::File(const char* name)
    : File(name, file_identity::NameHash(name ? name : "")) {}

UtFileManager::File::File(const char* name, std::uint32_t low_bits)
    : File(name, file_identity::New(low_bits), false) {
    if (Identity() != file_identity::kNone) return;
    is_usable_ = false;
    last_error_.store(EOVERFLOW, std::memory_order_relaxed);
}

UtFileManager::File::File(const char* name, std::uint32_t identity, bool is_reservation)
    : identity_(identity), is_reservation_(is_reservation), name_(CopyName(name)) {}

UtFileManager::File::~File() = default;

void UtFileManager::File::FreeText::operator()(char* text) const {
    std::free(text);
}

AccessStatus UtFileManager::File::Remember(AccessStatus status, std::string reason) noexcept {
    if (!Failed(status)) return status;
    last_error_.store(ToErrorCode(status), std::memory_order_relaxed);
    last_reason_ = std::move(reason);
    return status;
}

void UtFileManager::File::CopyFailure(FileFailure* why) const noexcept {
    if (!why) return;
    why->code = LastError();
    try {
        why->reason = last_reason_;
    } catch (const std::bad_alloc&) {
        why->reason.clear();
    }
}

bool UtFileManager::File::RenewIdentity() {
    const std::uint32_t fresh = file_identity::New(Identity());
    if (fresh != file_identity::kNone) identity_.store(fresh, std::memory_order_relaxed);
    return fresh != file_identity::kNone;
}
