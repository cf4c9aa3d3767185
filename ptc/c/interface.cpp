// The C interface.

#include "ptc/ptc.h"

#include "ptc/version.h"

const char* ptc_version(void) {
    return PtcVersion();
}
