// Telling an unload from the end of the process, and what runs at an unload.

#include "util/base/process_wide.h"

#include <atomic>

namespace process_wide {
namespace {

std::atomic<UnloadStep*> first_step{nullptr};
std::atomic<bool> process_ends{false};

/// Its destructor is the first thing of ours that exit() runs: destructors of function statics
/// come before the object's finalisers when a process ends, and after them at an unload.
struct EndMark {
    ~EndMark() { process_ends.store(true, std::memory_order_relaxed); }
};

__attribute__((destructor)) void RunUnloadSteps() {
    const bool process_end = process_ends.load(std::memory_order_relaxed);
    // acquire: pairs with the release in AtUnload()
    for (UnloadStep* step = first_step.exchange(nullptr, std::memory_order_acquire); step;) {
        UnloadStep* const next = step->next;  // the step's object may lie beside it
        if (!process_end || step->at_process_end_too) step->run(step->object);
        step = next;
    }
}

}  // namespace

void AtUnload(UnloadStep* step) {
    static const EndMark mark;
    step->next = first_step.load(std::memory_order_relaxed);
    // release: pairs with the acquire in RunUnloadSteps()
    while (!first_step.compare_exchange_weak(step->next, step, std::memory_order_release,
                                             std::memory_order_relaxed)) {
    }
}

}  // namespace process_wide
