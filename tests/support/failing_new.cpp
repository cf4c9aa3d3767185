// operator new and delete in all forms that the product uses, so that each pair fits the other.

#include "tests/support/failing_new.h"

#include <cstddef>
#include <cstdlib>
#include <new>

std::atomic<bool (*)()> new_fails{nullptr};

namespace {

/// Not through malloc(), which some programs let fail on its own.
void* Allocate(std::size_t bytes) {
    bool (*const fails)() = new_fails.load(std::memory_order_relaxed);
    if (fails && fails()) return nullptr;
    constexpr std::size_t kStep = alignof(std::max_align_t);
    return std::aligned_alloc(kStep, (bytes + kStep) / kStep * kStep);
}

}  // namespace

void* operator new(std::size_t bytes) {
    if (void* const made = Allocate(bytes)) return made;
    throw std::bad_alloc();
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return Allocate(bytes);
}
void operator delete(void* made) noexcept {
    std::free(made);
}
void operator delete(void* made, std::size_t) noexcept {
    std::free(made);
}
