// ThreadSlot -- one thing per thread: its key, its lazy making, who frees it, unloading.
//
// Errors     Find() and FindOrMake() answer null when the system has no key or no memory left.
// Ownership  the slot owns every thread's thing. It frees one when its thread calls Drop(), when
//            its thread ends (kFreeWithThread only), and all of them in DropAll() and at its own
//            end. A thing is destroyed with no lock held.
// Threads    every member from any thread, but: nobody may use a thing while DropAll() runs, and
//            no thread may be inside the slot, or be ending, while the slot itself is destroyed.
//            A thread that ends after either finds nothing left to do.
//
// Locks:
//
//   rank  lock             count           guards
//   90    lock_            one per slot    the key's making and the two lists of seats
//   91    live_slots.lock  1               the list of slots that have a key
//
//   - nothing is called and nothing is allocated under either, but for the key itself.
//
// A key that outlives the shared object would call into nowhere when a thread ends. So all keys go
// when the object is finalised, even while the process ends: a host's own ending may unload us
// and let its threads go only then. A slot without its key answers null.

#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>

#include "util/base/tg_lock.h"

/// What becomes of a thread's thing when the thread ends.
enum class ThreadSlotEnd {
    kKeep,  ///< kept, because it counts for more than its thread; the key has no destructor
    kFreeWithThread,  ///< destroyed by the ending thread
};

/// The part of a slot that does not depend on the type.
class ThreadSlotBase : public TgUncopyable {
public:
    using Destroy = void (*)(void* thing);

    ThreadSlotBase(ThreadSlotEnd end, Destroy destroy) noexcept : end_(end), destroy_(destroy) {}
    ~ThreadSlotBase();

    /// Makes the key. False: the system has none left. The other members do this by themselves.
    bool BringUp() noexcept;

    /// Frees the calling thread's thing.
    void Drop() noexcept;

    /// Frees every thread's thing. A thread that asks later gets a new one.
    void DropAll() noexcept;

protected:
    void* FindThing() const noexcept;

    /// Makes `thing` the calling thread's, in place of the one it has. False: no key or no memory,
    /// and `thing` stays the caller's.
    bool Put(void* thing) noexcept;

private:
    /// A thread's place. The owning thread finds it through the key and frees it when it ends;
    /// it outlives its thing, so that DropAll() never takes a seat from under a thread's feet.
    ///
    ///   member      written by                          read by
    ///   slot        its maker                           any thread: never changes
    ///   thing       its thread; DropAll()               its thread; DropAll()
    ///   next, back  any thread, under the slot's lock   the same
    struct Seat {
        ThreadSlotBase* slot;
        std::atomic<void*> thing;
        Seat* next;
        Seat** back;  ///< the pointer that points here
    };

    /// The slots that have a key, linked through themselves.
    struct LiveSlots {
        TgSpinByte lock;
        ThreadSlotBase* first UTIL_GUARDED_BY(lock) = nullptr;
    };
    static LiveSlots live_slots;

    static void RetireAllKeys(void*) noexcept;
    void RetireKey() noexcept;
    static void AtThreadEnd(void* seat) noexcept;
    static void Link(Seat* seat, Seat** list) noexcept;
    static void Unlink(Seat* seat) noexcept;
    Seat* FindSeat() const noexcept;
    Seat* AddSeat() noexcept;

    // Immutable after construction.
    const ThreadSlotEnd end_;
    const Destroy destroy_;

    // Atomic: the key, or one of the two below. Made under the lock, read and retired without it.
    static constexpr std::int64_t kNoKeyYet = -1;
    static constexpr std::int64_t kRetired = -2;
    std::atomic<std::int64_t> key_{kNoKeyYet};

    // Guarded.
    TgSpinByte lock_;
    Seat* taken_ UTIL_GUARDED_BY(lock_) = nullptr;  ///< seats with a thing
    Seat* empty_ UTIL_GUARDED_BY(lock_) = nullptr;  ///< seats whose thing was dropped

    // Guarded by live_slots.lock.
    ThreadSlotBase* next_live_ UTIL_GUARDED_BY(live_slots.lock) = nullptr;
};

template <class T>
class ThreadSlot : public ThreadSlotBase {
public:
    explicit ThreadSlot(ThreadSlotEnd end) noexcept
        : ThreadSlotBase(end, [](void* thing) { delete static_cast<T*>(thing); }) {}

    /// The calling thread's thing, or null when it has none.
    T* Find() const noexcept { return static_cast<T*>(FindThing()); }

    /// The calling thread's thing; `make`, a function that answers a std::unique_ptr<T>, makes it
    /// when there is none. What `make` throws passes through and changes nothing.
    template <class Make>
    T* FindOrMake(Make make) {
        if (T* const found = Find()) return found;
        std::unique_ptr<T> made = make();
        return made && Put(made.get()) ? made.release() : nullptr;
    }
};
