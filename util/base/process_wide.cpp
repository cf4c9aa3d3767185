// Tells an unload from the end of the process, and runs the steps of an unload.

#include "util/base/process_wide.h"

#include <atomic>

namespace process_wide {
namespace {

std::atomic<UnloadStep*> first_step{nullptr};
std::atomic<bool> process_ends{false};

/// Tells the two ends apart by their order. When the process ends, destructors of function statics
/// run before the shared object's finaliser; at an unload they run after it. So the finaliser finds
/// the mark set only when the process ends.
struct EndMark {
    ~EndMark() { process_ends.store(true, std::memory_order_relaxed); }
};

__attribute__((destructor)) void RunUnloadSteps() {
    const bool process_end = process_ends.load(std::memory_order_relaxed);
    // acquire: pairs with the release in AtUnload()
    for (UnloadStep* step = first_step.exchange(nullptr, std::memory_order_acquire); step;) {
        UnloadStep* const next = step->next;  // read first: the step may free the memory it is in
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
