// The process-wide objects: made on first use, destroyed when the shared object is unloaded.
//
// They are not destroyed when the process ends: exit() runs while other threads still render and
// report, and these threads still use the objects. At an unload no thread is inside, and memory
// that is not freed then is lost. docs/adr/0010-unload-and-thread-ends.md has the reasons.
//
// The objects are destroyed in the reverse order of their construction. So an object whose
// destructor uses another object must use it in its constructor as well: the other object is then
// constructed first and destroyed later.
//
// Units      none.
// Errors     when a constructor throws, the next caller constructs the object again.
// Ownership  the shared object owns the objects; a reference is valid as long as it is loaded.
// Threads    any; the first caller constructs the object, the others wait for it.

#pragma once

#include <cstddef>
#include <new>

namespace process_wide {

/// A function that runs when the shared object is unloaded. The step registered last runs first.
struct UnloadStep {
    void (*run)(void* object);
    void* object;
    bool at_process_end_too;  ///< only for a step that is safe while other threads run
    UnloadStep* next;
};

/// Registers `step`, which must live until the unload.
void AtUnload(UnloadStep* step);

/// The one object of type `T`. Two parts of the system that use the same `T` share the object, so
/// each part has a type of its own.
template <class T>
T& The() {
    // Raw memory and not a static T: the compiler would register a destructor that also runs when
    // the process ends.
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
