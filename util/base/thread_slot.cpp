// ThreadSlot's key and seats: making, linking, freeing, and the end of a thread.
//
// A seat is always in one of its slot's two lists, so the slot can free it after its thread has
// ended. The thread that takes an object out of its seat, under the slot's lock, destroys it; all
// other threads find null there. So an object is destroyed once.

#include "util/base/thread_slot.h"

#include <new>

#include "util/base/process_wide.h"

constinit ThreadSlotBase::LiveSlots ThreadSlotBase::live_slots;

void ThreadSlotBase::RetireAllKeys(void*) noexcept {
    TgSpinGuard hold(live_slots.lock);
    for (; live_slots.first; live_slots.first = live_slots.first->next_live_)
        live_slots.first->RetireKey();
}

void ThreadSlotBase::RetireKey() noexcept {
    // Marked before it is deleted: the system may reuse the number of a deleted key at once.
    const std::int64_t key = key_.exchange(kRetired, std::memory_order_relaxed);
    if (key >= 0) pthread_key_delete(static_cast<pthread_key_t>(key));
}

ThreadSlotBase::~ThreadSlotBase() {
    // The key first: after this, the system no longer calls AtThreadEnd() for this slot.
    RetireKey();
    {
        TgSpinGuard hold(live_slots.lock);
        ThreadSlotBase** link = &live_slots.first;
        while (*link && *link != this) link = &(*link)->next_live_;
        if (*link) *link = next_live_;
    }
    DropAll();
    // The seats of threads that still run: these threads cannot reach them without the key.
    TgSpinGuard hold(lock_);
    while (Seat* const seat = empty_) {
        Unlink(seat);
        delete seat;
    }
}

bool ThreadSlotBase::BringUp() noexcept {
    // acquire: pairs with the release below
    if (key_.load(std::memory_order_acquire) >= 0) return true;
    // Registered once for all slots, before any of them has a key.
    [[maybe_unused]] static const bool registered = [] {
        static process_wide::UnloadStep step = {RetireAllKeys, nullptr, true, nullptr};
        process_wide::AtUnload(&step);
        return true;
    }();
    TgSpinGuard hold(lock_);
    const std::int64_t known = key_.load(std::memory_order_relaxed);
    if (known != kNoKeyYet) return known >= 0;
    // Under one hold of the list's lock: RetireAllKeys() would miss a key that is not listed.
    TgSpinGuard list(live_slots.lock);
    pthread_key_t key{};
    if (pthread_key_create(&key, end_ == ThreadSlotEnd::kKeep ? nullptr : AtThreadEnd) != 0)
        return false;
    // release: pairs with the acquire loads of key_
    key_.store(static_cast<std::int64_t>(key), std::memory_order_release);
    next_live_ = live_slots.first;
    live_slots.first = this;
    return true;
}

void ThreadSlotBase::Drop() noexcept {
    Seat* const seat = FindSeat();
    if (!seat) return;
    void* object;
    {
        TgSpinGuard hold(lock_);
        object = seat->object.exchange(nullptr, std::memory_order_relaxed);
        if (!object) return;
        Unlink(seat);
        Link(seat, &empty_);
    }
    destroy_(object);
}

void ThreadSlotBase::DropAll() noexcept {
    // One object at a time and without the lock: its destructor may use the slot.
    for (;;) {
        void* object;
        {
            TgSpinGuard hold(lock_);
            Seat* const seat = taken_;
            if (!seat) return;
            object = seat->object.exchange(nullptr, std::memory_order_relaxed);
            Unlink(seat);
            Link(seat, &empty_);
        }
        destroy_(object);
    }
}

void* ThreadSlotBase::FindObject() const noexcept {
    const Seat* const seat = FindSeat();
    return seat ? seat->object.load(std::memory_order_relaxed) : nullptr;
}

bool ThreadSlotBase::Put(void* object) noexcept {
    Drop();  // there is an object if `make` itself asked the slot for one
    Seat* seat = FindSeat();
    if (!seat) seat = AddSeat();
    if (!seat) return false;
    TgSpinGuard hold(lock_);
    seat->object.store(object, std::memory_order_relaxed);
    Unlink(seat);
    Link(seat, &taken_);
    return true;
}

/// Runs in the ending thread, after the system has cleared the thread's value of the key. If the
/// object's destructor uses the slot, the thread gets a new seat and the system calls this again.
void ThreadSlotBase::AtThreadEnd(void* seat_of_thread) noexcept {
    Seat* const seat = static_cast<Seat*>(seat_of_thread);
    ThreadSlotBase& slot = *seat->slot;
    void* object;
    {
        TgSpinGuard hold(slot.lock_);
        object = seat->object.exchange(nullptr, std::memory_order_relaxed);
        Unlink(seat);
    }
    delete seat;
    if (object) slot.destroy_(object);
}

void ThreadSlotBase::Link(Seat* seat, Seat** list) noexcept {
    seat->next = *list;
    seat->back = list;
    if (seat->next) seat->next->back = &seat->next;
    *list = seat;
}

void ThreadSlotBase::Unlink(Seat* seat) noexcept {
    if (seat->next) seat->next->back = seat->back;
    *seat->back = seat->next;
}

ThreadSlotBase::Seat* ThreadSlotBase::FindSeat() const noexcept {
    // acquire: pairs with the release in BringUp()
    const std::int64_t key = key_.load(std::memory_order_acquire);
    if (key < 0) return nullptr;
    return static_cast<Seat*>(pthread_getspecific(static_cast<pthread_key_t>(key)));
}

/// Makes an empty seat for the calling thread, which has none. Null: no key or no memory.
ThreadSlotBase::Seat* ThreadSlotBase::AddSeat() noexcept {
    if (!BringUp()) return nullptr;
    auto seat = std::unique_ptr<Seat>(new (std::nothrow) Seat{this, nullptr, nullptr, nullptr});
    // Read again: the key may have been retired since, and its number reused.
    const std::int64_t key = key_.load(std::memory_order_relaxed);
    if (!seat || key < 0 || pthread_setspecific(static_cast<pthread_key_t>(key), seat.get()) != 0)
        return nullptr;
    TgSpinGuard hold(lock_);
    Link(seat.get(), &empty_);
    return seat.release();
}
