// The library's version.

#include "ptc/version.h"

const char* PtcVersion() noexcept {
    return PTC_VERSION;
}
