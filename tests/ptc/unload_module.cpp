// A shared object with the access library inside, for a test that loads and unloads it.

#include "ptc/access.h"
#include "ptc/tree.h"

/// Reads from `name` what leaves this thread with a file and with blocks of both kinds; shuts down
/// first if told to. False: it cannot be read.
extern "C" __attribute__((visibility("default"))) bool UseLibrary(const char* name,
                                                                  bool shuts_down) {
    if (shuts_down) PtcShutdown();
    PtcManagedFile* const file = PtcOpenForReading(name);
    return PtcGetPoint(file, 0) && PtcGetRoot(file, nullptr);
}
