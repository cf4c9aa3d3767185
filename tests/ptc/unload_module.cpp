// A shared object with the runtime and the access library inside, for tests that load and unload
// it.

#include <atomic>
#include <memory>
#include <string>

#include "ptc/access.h"
#include "ptc/lookup.h"
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

/// The last lookup, which lives until the object is unloaded.
std::unique_ptr<PtcLookup> living_lookup;

/// Looks up in a file without an octree, whose points are in memory then.
bool LookUp(const std::string& cloud) {
    PtcManagedFile* const file = PtcOpenForReading(cloud.c_str());
    living_lookup = std::make_unique<PtcLookup>(PtcLookupClouds{&file, 1});
    constexpr float kPlace[3] = {};
    std::int32_t found = 0;
    return living_lookup->Nearest({kPlace}, {}, {}, &found) && found > 0;
}

}  // namespace

/// Uses everything that makes state: reports, options, settings, a thread slot, and of the file
/// `cloud` what leaves this thread with a file, a failure and blocks of both kinds; and looks up in
/// the file `text`. `living` counts the things in the slot. False: a file cannot be read.
extern "C" __attribute__((visibility("default"))) bool UseLibrary(const char* cloud,
                                                                  const char* text,
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
    const bool has_failed = !PtcGetPoint(file, -1);
    return has_failed && PtcGetPoint(file, 0) && PtcGetRoot(file, nullptr) && LookUp(text);
}

extern "C" __attribute__((visibility("default"))) void ShutLibraryDown() {
    PtcShutdown();
}
