// Seats of threads: linking, freeing, and what happens when a thread ends.
//
// A seat is always in one of its slot's two lists, so the slot can free it whoever has ended. Who
// takes the thing out of its seat, under the slot's lock, destroys it; all others find null.

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
    // Marked before it goes: the system may give its number to somebody else at once.
    const std::int64_t key = key_.exchange(kRetired, std::memory_order_relaxed);
    if (key >= 0) pthread_key_delete(static_cast<pthread_key_t>(key));
}

ThreadSlotBase::~ThreadSlotBase() {
    // The key first: from here on a thread that ends is not sent into this object any more.
    RetireKey();
    {
        TgSpinGuard hold(live_slots.lock);
        ThreadSlotBase** link = &live_slots.first;
        while (*link && *link != this) link = &(*link)->next_live_;
        if (*link) *link = next_live_;
    }
    DropAll();
    // What is left are seats of threads that live on and will not come back through the key.
    TgSpinGuard hold(lock_);
    while (Seat* const seat = empty_) {
        Unlink(seat);
        delete seat;
    }
}

bool ThreadSlotBase::BringUp() noexcept {
    // acquire: pairs with the release below
    if (key_.load(std::memory_order_acquire) >= 0) return true;
    // Once for all slots, and before any of them has a key that could need it.
    [[maybe_unused]] static const bool registered = [] {
        static process_wide::UnloadStep step = {RetireAllKeys, nullptr, true, nullptr};
        process_wide::AtUnload(&step);
        return true;
    }();
    TgSpinGuard hold(lock_);
    const std::int64_t known = key_.load(std::memory_order_relaxed);
    if (known != kNoKeyYet) return known >= 0;
    // Made and listed in one go: a key that is not in the list would not be retired.
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
    void* thing;
    {
        TgSpinGuard hold(lock_);
        thing = seat->thing.exchange(nullptr, std::memory_order_relaxed);
        if (!thing) return;
        Unlink(seat);
        Link(seat, &empty_);
    }
    destroy_(thing);
}

void ThreadSlotBase::DropAll() noexcept {
    // One thing at a time, because a thing may do anything when it is destroyed, even use the slot.
    for (;;) {
        void* thing;
        {
            TgSpinGuard hold(lock_);
            Seat* const seat = taken_;
            if (!seat) return;
            thing = seat->thing.exchange(nullptr, std::memory_order_relaxed);
            Unlink(seat);
            Link(seat, &empty_);
        }
        destroy_(thing);
    }
}

void* ThreadSlotBase::FindThing() const noexcept {
    const Seat* const seat = FindSeat();
    return seat ? seat->thing.load(std::memory_order_relaxed) : nullptr;
}

bool ThreadSlotBase::Put(void* thing) noexcept {
    Drop();  // there is one if the making of this one asked the slot for its own thing
    Seat* seat = FindSeat();
    if (!seat) seat = AddSeat();
    if (!seat) return false;
    TgSpinGuard hold(lock_);
    seat->thing.store(thing, std::memory_order_relaxed);
    Unlink(seat);
    Link(seat, &taken_);
    return true;
}

/// Runs in the ending thread, after its key has been cleared: a thing whose end asks the slot
/// again gets a new seat, and the system comes here once more.
void ThreadSlotBase::AtThreadEnd(void* seat_of_thread) noexcept {
    Seat* const seat = static_cast<Seat*>(seat_of_thread);
    ThreadSlotBase& slot = *seat->slot;
    void* thing;
    {
        TgSpinGuard hold(slot.lock_);
        thing = seat->thing.exchange(nullptr, std::memory_order_relaxed);
        Unlink(seat);
    }
    delete seat;
    if (thing) slot.destroy_(thing);
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

/// An empty seat for the calling thread, which has none; null when that is impossible.
ThreadSlotBase::Seat* ThreadSlotBase::AddSeat() noexcept {
    if (!BringUp()) return nullptr;
    auto seat = std::unique_ptr<Seat>(new (std::nothrow) Seat{this, nullptr, nullptr, nullptr});
    // Read again: it may have been retired since, and its number be somebody else's.
    const std::int64_t key = key_.load(std::memory_order_relaxed);
    if (!seat || key < 0 || pthread_setspecific(static_cast<pthread_key_t>(key), seat.get()) != 0)
        return nullptr;
    TgSpinGuard hold(lock_);
    Link(seat.get(), &empty_);
    return seat.release();
}
