// NamedPlace: looks a name up, if there is a table at all.

#include "ptc/access/named_place.h"

#include <atomic>

#include "util/host/config_store.h"
#include "util/host/platform.h"

namespace {

constinit std::atomic<bool> names_are_places{false};

}  // namespace

NamedPlace::NamedPlace(const char* name) : name_(name) {
    const ConfigStore& store = TheConfigStore();
    // Opening a file that the thread keeps takes a few nanoseconds, so this must take none.
    if (store.Zones().IsEmpty() || names_are_places.load(std::memory_order_relaxed)) return;
    moved_ = platform::ExpandPath(name, store);
}

void TakeNamesAsPlaces() noexcept {
    names_are_places.store(true, std::memory_order_relaxed);
}
