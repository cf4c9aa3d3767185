// A shared object with the access library inside, for a test that loads and unloads it.

#include "ptc/access.h"
#include "ptc/cache_set.h"

/// Opens `name` and makes everything that a reading thread has; shuts down first if told to.
/// False: the file cannot be opened.
extern "C" __attribute__((visibility("default"))) bool UseLibrary(const char* name,
                                                                  bool shuts_down) {
    if (shuts_down) PtcShutdown();
    return PtcOpenForReading(name) && ThisThreadCache();
}
