// The process-wide objects: made on first use, destroyed when the shared object is unloaded.
//
// They are left alone when the process ends: exit() runs while other threads still render and
// report, so tearing anything down then would take it from under their feet. An unload is the
// opposite case: nobody is inside, and what is not given back then is lost for good.
// docs/adr/0010-unload-and-thread-ends.md has the reasons.
//
// They are destroyed in the reverse order of their making. One whose destructor uses another one
// therefore uses it in its constructor as well, so that the other one is made first.
//
// Errors     an object whose constructor throws is tried again by the next caller.
// Ownership  the shared object owns each of them; callers keep references as long as it is loaded.
// Threads    any; the first caller makes the object, the others wait for it.

#pragma once

#include <cstddef>
#include <new>

namespace process_wide {

/// What is to be done when the shared object is unloaded. Steps run last registered first.
struct UnloadStep {
    void (*run)(void* object);
    void* object;
    bool at_process_end_too;  ///< for what other threads survive: they may be anywhere then
    UnloadStep* next;
};

/// Registers `step`, which must live until the unload.
void AtUnload(UnloadStep* step);

/// The one object of type `T`. `T` belongs to one file or one header of its own: two parts of the
/// system that ask for the same type share the object.
template <class T>
T& The() {
    alignas(T) static std::byte room[sizeof(T)];
    static UnloadStep step = {[](void* object) { static_cast<T*>(object)->~T(); }, nullptr, false,
                              nullptr};
    static T* const made = [] {
        T* const object = new (room) T;
        step.object = object;
        AtUnload(&step);
        return object;
    }();
    return *made;
}

}  // namespace process_wide
