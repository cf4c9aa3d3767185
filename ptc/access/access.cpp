// The entry points: make what is missing, forward, turn a lack of memory into an answer.

#include "ptc/access/access.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "ptc/cache/cache_set.h"
#include "ptc/files/managed_file.h"
#include "ptc/files/thread_files.h"
#include "util/host/config.h"
#include "util/host/runtime.h"

namespace {

constexpr int kDefaultLimit = 1024;  // files open at once, when the options do not say

/// What a bare open makes the manager with.
constexpr int kBareThreads = 8;
constexpr int kBareLimit = 256;
constexpr int kBareHint = 256;

/// The answer of `call`; `fallback` when memory runs out.
template <class Call, class Answer>
Answer WithFallback(Answer fallback, Call call) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return fallback;
    }
}

void MakeManagerByOptions() {
    const int limit = std::min(ConfigGetCount("/lumrd/texture/maxfiles", kDefaultLimit),
                               int{UtFileManager::kMostFiles});
    UtFileManager::Create(runtime::ThreadCount(), limit, limit / 4);
}

PtcManagedFile* Open(const char* name, bool* opened) {
    ThreadFiles* table = UtFileManager::Get();
    if (!table) {
        UtFileManager::Create(kBareThreads, kBareLimit, kBareHint);
        table = UtFileManager::Get();
    }
    if (!name || !table || !EnsureCaches()) return nullptr;
    PtcOpener opener;
    return static_cast<PtcManagedFile*>(table->Open(name, opener, opened));
}

AccessStatus BringOpen(PtcManagedFile& file, ThreadFiles* table) {
    if (table) return table->Manager().BringOpen(file, *table);
    return file.IsOpen() ? AccessStatus::kOk : file.reopen();
}

/// Opens a file for reading that has been written. A transient one was never closed for the
/// manager.
AccessStatus ReadBack(PtcManagedFile& file, ThreadFiles* table) {
    if (table && !file.IsTransient()) return table->Manager().Reopen(file, *table);
    return file.reopen();
}

}  // namespace

PtcManagedFile* PtcOpenManaged(const char* name, bool* opened) {
    bool is_first = false;
    PtcManagedFile* const file =
        WithFallback(static_cast<PtcManagedFile*>(nullptr), [&] { return Open(name, &is_first); });
    if (opened) *opened = is_first;
    return file;
}

PtcManagedFile* PtcOpenForReading(const char* name) {
    WithFallback(false, [] {
        if (!UtFileManager::Get()) MakeManagerByOptions();
        return true;
    });
    return PtcOpenManaged(name);
}

void* PtcOpenHandle(const char* name) {
    return PtcOpenForReading(name);
}

PtcManagedFile* PtcOpenWithVariables(const char* name, PtcVariables* variables) {
    PtcManagedFile* const file = PtcOpenForReading(name);
    if (!file) return nullptr;
    const bool has_any = WithFallback(false, [&] {
        const CloudHeader* const header = file->Header();
        if (!header || header->point_variables.names.empty()) return false;
        if (!variables) return true;
        variables->types = header->point_variables.types;
        variables->names = header->point_variables.names;
        return true;
    });
    if (has_any) return file;
    PtcRelease(file);
    return nullptr;
}

void PtcRelease(PtcManagedFile* file) {
    if (!file) return;
    if (!file->IsManaged()) {
        delete file;
        return;
    }
    ThreadFiles* const table =
        WithFallback(static_cast<ThreadFiles*>(nullptr), [] { return UtFileManager::Get(); });
    if (table) table->Release(*file);
}

CloudStatus PtcFinish(PtcManagedFile* file) {
    if (!file) return CloudStatus::kFailed;
    const CloudStatus status = WithFallback(CloudStatus::kFailed, [&] {
        ThreadFiles* const table = file->IsManaged() ? UtFileManager::Get() : nullptr;
        if (Failed(BringOpen(*file, table))) return CloudStatus::kFailed;
        const CloudStatus completed = file->Complete();
        if (file->Writing() && Failed(ReadBack(*file, table))) return CloudStatus::kFailed;
        return completed;
    });
    PtcRelease(file);
    return status;
}

void PtcConfigure(int threads, std::int64_t point_kb, std::int64_t node_kb, const char* mode) {
    ConfigureCaches(threads, point_kb, node_kb);
    SetTransientFiles(mode && std::strcmp(mode, "transient") == 0);
}

void PtcFillFileStats(TgStats* stats) {
    WithFallback(false, [&] {
        ThreadFiles* const table = UtFileManager::Get();
        if (table) table->Manager().FillStats(stats);
        return true;
    });
}

void PtcShutdown() {
    DestroyCaches();
    UtFileManager::Shutdown();
}
