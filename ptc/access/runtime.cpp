// The process's settings as users of the library see them.

#include "ptc/runtime.h"

#include <cstring>

#include "ptc/access/last_failure.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/managed_file.h"
#include "util/host/config.h"
#include "util/host/message.h"
#include "util/host/runtime.h"

void PtcLoadConfiguration() noexcept {
    CatchNoMemory(nullptr, false, [] {
        ConfigLoad();
        return true;
    });
}

void PtcSetThreadCount(int count) noexcept {
    runtime::SetThreadCount(count);
}

int PtcGetThreadCount() noexcept {
    return runtime::ThreadCount();
}

void PtcSetMessageHandler(PtcMessageHandler handler) noexcept {
    MsgSetHandler(handler, 0);
}

void PtcConfigure(int threads, std::int64_t point_kb, std::int64_t node_kb,
                  const char* mode) noexcept {
    ConfigureCaches(threads, point_kb, node_kb);
    SetTransientFiles(mode && std::strcmp(mode, "transient") == 0);
}

void PtcShutdown() noexcept {
    DestroyCaches();
    UtFileManager::Shutdown();
}
