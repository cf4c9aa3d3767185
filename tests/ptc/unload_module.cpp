// A shared object with the runtime and the access library inside, for tests that load and unload
// it.

#include <atomic>
#include <memory>

#include "ptc/access.h"
#include "ptc/tree.h"
#include "util/base/process_wide.h"
#include "util/base/thread_slot.h"
#include "util/host/config.h"
#include "util/host/message.h"
#include "util/host/runtime.h"

namespace {

struct Noted {
    explicit Noted(std::atomic<int>* counter) : living(counter) { ++*living; }
    ~Noted() { --*living; }
    std::atomic<int>* living;
};

struct Slots {
    ThreadSlot<Noted> with_thread{ThreadSlotEnd::kFreeWithThread};
};

}  // namespace

/// Uses everything that makes state: reports, options, settings, a thread slot, and of the file
/// `cloud` what leaves this thread with a file and with blocks of both kinds. `living` counts the
/// things in the slot. False: the file cannot be read.
extern "C" __attribute__((visibility("default"))) bool UseLibrary(const char* cloud,
                                                                  std::atomic<int>* living) {
    runtime::Start();
    MsgSetHandler([](int, int, const char*) { return 0; }, 0);
    MsgSetDisabledList("T43050");
    MsgReport("T43050", 4, 2, "a");
    MsgReport("T43051", 4, 0x82, "a");
    ConfigReadFile("/dev/null");
    ConfigLoad();
    auto& slot = process_wide::The<Slots>().with_thread;
    slot.FindOrMake([=] { return std::make_unique<Noted>(living); });
    PtcManagedFile* const file = PtcOpenForReading(cloud);
    return PtcGetPoint(file, 0) && PtcGetRoot(file, nullptr);
}

extern "C" __attribute__((visibility("default"))) void ShutLibraryDown() {
    PtcShutdown();
}
