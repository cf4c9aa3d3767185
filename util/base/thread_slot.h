// ThreadSlot -- one object for each thread, made when the thread first asks for it.
//
// Units      none.
// Errors     FindOrMake() returns null when the system has no key or no memory left.
// Ownership  the slot owns the objects of all threads. It destroys one when its thread calls
//            Drop() or, with kFreeWithThread, when its thread ends; it destroys all of them in
//            DropAll() and in its own destructor. No lock is held while an object is destroyed.
// Threads    every member from any thread, with two exceptions. No thread may use its object while
//            DropAll() runs. No thread may call the slot, or end, while the slot is destroyed. A
//            thread that ends later finds nothing to do.
//
// Locks:
//
//   rank  lock             count           guards
//   90    lock_            one per slot    the key's making and the two lists of seats
//   91    live_slots.lock  1               the list of slots that have a key
//
//   - under these locks the code makes the key, but calls and allocates nothing else.
//
// When a thread ends, the system calls the destructor of each of its keys. A key that outlived the
// shared object would make it call unmapped memory. So all keys are deleted when the shared object
// is finalised, even when the process ends: a host may unload the object in its own exit handlers
// and stop its threads only afterwards. A slot whose key is deleted returns null.

#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>

#include "util/base/tg_lock.h"

/// What happens to a thread's object when the thread ends.
enum class ThreadSlotEnd {
    kKeep,            ///< the slot keeps it; the key has no destructor
    kFreeWithThread,  ///< the ending thread destroys it
};

/// The part of a slot that does not depend on the type.
class ThreadSlotBase : public TgUncopyable {
public:
    using Destroy = void (*)(void* object);

    ThreadSlotBase(ThreadSlotEnd end, Destroy destroy) noexcept : end_(end), destroy_(destroy) {}
    ~ThreadSlotBase();

    /// Makes the key. False: the system has none left. The other members call this when needed.
    bool BringUp() noexcept;

    /// Destroys the calling thread's object.
    void Drop() noexcept;

    /// Destroys the objects of all threads. A thread that asks later gets a new one.
    void DropAll() noexcept;

protected:
    void* FindObject() const noexcept;

    /// Makes `object` the calling thread's, in place of the one it has. False: there is no key or
    /// no memory, and the caller still owns `object`.
    bool Put(void* object) noexcept;

private:
    /// A thread's entry in the slot. The thread finds it through the key and frees it when it ends.
    /// A seat outlives its object: DropAll() leaves the seats alone, because their threads still
    /// have pointers to them.
    ///
    ///   member      written by                          read by
    ///   slot        its maker                           any thread: never changes
    ///   object      its thread; DropAll()               its thread; DropAll()
    ///   next, back  any thread, under the slot's lock   the same
    struct Seat {
        ThreadSlotBase* slot;
        std::atomic<void*> object;
        Seat* next;
        Seat** back;  ///< the pointer that points here
    };

    /// The slots that have a key, as a list linked through next_live_.
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

    // Atomic: the key, or one of the two constants. Written under the lock when the key is made;
    // read and retired without it.
    static constexpr std::int64_t kNoKeyYet = -1;
    static constexpr std::int64_t kRetired = -2;
    std::atomic<std::int64_t> key_{kNoKeyYet};

    // Guarded.
    TgSpinByte lock_;
    Seat* taken_ UTIL_GUARDED_BY(lock_) = nullptr;  ///< seats with an object
    Seat* empty_ UTIL_GUARDED_BY(lock_) = nullptr;  ///< seats without one

    // Guarded by live_slots.lock.
    ThreadSlotBase* next_live_ UTIL_GUARDED_BY(live_slots.lock) = nullptr;
};

template <class T>
class ThreadSlot : public ThreadSlotBase {
public:
    explicit ThreadSlot(ThreadSlotEnd end) noexcept
        : ThreadSlotBase(end, [](void* object) { delete static_cast<T*>(object); }) {}

    /// The calling thread's object, or null when it has none.
    T* Find() const noexcept { return static_cast<T*>(FindObject()); }

    /// The calling thread's object. When it has none, `make` makes it: a function that returns a
    /// std::unique_ptr<T>. An exception of `make` passes through and changes nothing.
    template <class Make>
    T* FindOrMake(Make make) {
        if (T* const found = Find()) return found;
        std::unique_ptr<T> made = make();
        return made && Put(made.get()) ? made.release() : nullptr;
    }
};
