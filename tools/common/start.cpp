// The start of every program, and the zones of its configuration.

#include "tools/common/start.h"

#include <signal.h>

#include <cstdio>
#include <new>

#include "tools/common/standard_streams.h"
#include "util/host/config.h"
#include "util/host/config_store.h"
#include "util/host/platform.h"

bool StartProgram() try {
    if (!HoldStandardDescriptors()) return false;
    // A limit of file sizes is a write error, which is told, and not the end of the program.
    if (::signal(SIGXFSZ, SIG_IGN) == SIG_ERR) return false;
    ConfigSetDumpStream(stderr);
    ConfigLoad();
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

std::string PlaceOf(const std::string& name) {
    if (name == "-") return name;
    return platform::ExpandPath(name.c_str(), TheConfigStore()).value_or(name);
}
