// Opening, releasing and finishing files: makes what is missing, forwards, stores failures.

#include <algorithm>
#include <cerrno>

#include "ptc/access.h"
#include "ptc/access/last_failure.h"
#include "ptc/access/named_place.h"
#include "ptc/cache/cache_set.h"
#include "ptc/cloud/cloud_messages.h"
#include "ptc/files/managed_file.h"
#include "ptc/files/thread_files.h"
#include "util/host/config.h"
#include "util/host/runtime.h"

namespace {

constexpr int kDefaultLimit = 1024;  // files open at once, unless the options have a number

/// What PtcOpenManaged() makes the manager with.
constexpr int kBareThreads = 8;
constexpr int kBareLimit = 256;
constexpr int kBareHint = 256;

constexpr PtcManagedFile* kNoFileAtAll = nullptr;

void MakeManagerByOptions() {
    const int limit = std::min(ConfigGetCount("/lumrd/texture/maxfiles", kDefaultLimit),
                               int{UtFileManager::kMostFiles});
    UtFileManager::Create(runtime::ThreadCount(), limit, limit / 4);
}

void MakeBareManager() {
    UtFileManager::Create(kBareThreads, kBareLimit, kBareHint);
}

void SetOpenFailure(const char* name, const FileFailure& why) {
    constexpr const char* kWhat = "cannot be opened";
    const char* const reason = why.reason.empty() ? nullptr : why.reason.c_str();
    if (why.code == ENOMEM) {
        SetFailure(PtcFailureCode::kNoMemory, name, kWhat, why.code);
    } else if (why.code > 0) {
        SetFailure(PtcFailureCode::kCannotOpen, name, kWhat, why.code, reason);
    } else {
        SetFailure(PtcFailureCode::kNotACloud, name, kWhat, 0, reason);
    }
}

/// Calls what opens a file. Its messages come behind it, but ahead of the failure that is stored:
/// their handler may use the library.
template <class Call>
auto WithMessagesBehind(Call call) {
    const cloud_messages::OpeningMessages wait;
    return call();
}

/// `make_manager` is called when there is none.
template <class MakeManager>
PtcManagedFile* Open(const char* name, bool* opened, MakeManager make_manager) {
    if (!name) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no file name");
        return nullptr;
    }
    const NamedPlace place(name);
    name = place.Get();
    ThreadFiles* table = UtFileManager::Get();
    if (!table) {
        make_manager();
        table = UtFileManager::Get();
    }
    if (!table || !EnsureCaches()) {
        SetFailure(PtcFailureCode::kNoMemory, name, "no memory for the caches");
        return nullptr;
    }
    if (UtFileManager::File* const kept = table->OpenKept(name))
        return static_cast<PtcManagedFile*>(kept);
    PtcOpener opener;
    FileFailure why;
    auto* const file = static_cast<PtcManagedFile*>(
        WithMessagesBehind([&] { return table->Open(name, opener, opened, &why); }));
    if (!file) SetOpenFailure(name, why);
    return file;
}

PtcManagedFile* OpenAlone(const char* name) {
    if (!name) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no file name");
        return nullptr;
    }
    const NamedPlace place(name);
    name = place.Get();
    auto file = std::make_unique<PtcManagedFile>(name, PtcManagedFile::Alone{});
    const AccessStatus opened = WithMessagesBehind(
        [&] { return file->IsUsable() ? file->reopen() : AccessStatus::kUnreadable; });
    if (!Failed(opened)) return file.release();
    FileFailure why;
    file->CopyFailure(&why);
    SetOpenFailure(name, why);
    return nullptr;
}

/// A hold on a managed file that this thread does not use, so that nobody closes it meanwhile.
class HoldOfAnother : public TgUncopyable {
public:
    HoldOfAnother(PtcManagedFile& file, ThreadFiles* table)
        : file_(file), manager_(table && table->Uses(file) == 0 ? &table->Manager() : nullptr) {
        if (manager_) manager_->HoldAgain(file_);
    }
    ~HoldOfAnother() {
        if (manager_) manager_->GiveBack(file_);
    }

private:
    PtcManagedFile& file_;
    UtFileManager* const manager_;
};

/// Opens a file that is closed although the caller uses it.
bool BringOpen(PtcManagedFile& file, ThreadFiles* table) {
    FileFailure why;
    const AccessStatus opened = WithMessagesBehind([&] {
        if (table) return table->Manager().BringOpen(file, *table, &why);
        return file.IsOpen() ? AccessStatus::kOk : file.reopen();
    });
    if (!Failed(opened)) return true;
    SetOpenFailure(file.Name(), {ToErrorCode(opened), std::move(why.reason)});
    return false;
}

/// Completes a file that was written, and opens it for reading.
CloudStatus FinishWritten(PtcManagedFile& file, ThreadFiles* table) {
    const CloudStatus completed = file.Complete();
    if (Failed(completed))
        SetFailure(PtcFailureCode::kCannotWrite, file.Name(), "cannot be written",
                   file.Writing()->file.Error());
    // The manager never closed a transient file.
    const AccessStatus read_back = WithMessagesBehind([&] {
        return table && !file.IsTransient() ? table->Manager().Reopen(file, *table) : file.reopen();
    });
    if (!Failed(read_back)) return completed;
    if (!Failed(completed)) SetOpenFailure(file.Name(), {ToErrorCode(read_back), {}});
    return CloudStatus::kFailed;
}

CloudStatus FinishRead(PtcManagedFile& file, ThreadFiles* table) {
    FileFailure why;
    const AccessStatus renewed = WithMessagesBehind([&] {
        if (file.IsTransient()) return AccessStatus::kOk;
        if (table) return table->Renew(file, &why);
        const AccessStatus closed = file.close();
        return Failed(closed) ? closed : file.reopen();
    });
    if (!Failed(renewed)) return file.Complete();
    SetOpenFailure(file.Name(), {ToErrorCode(renewed), std::move(why.reason)});
    return CloudStatus::kFailed;
}

CloudStatus Finish(PtcManagedFile& file) {
    if (file.HasOutlivedManager()) {
        SetFailure(PtcFailureCode::kShutDown, file.Name(), "was closed by the shut-down");
        return CloudStatus::kFailed;
    }
    ThreadFiles* const table = file.IsManaged() ? UtFileManager::Get() : nullptr;
    const HoldOfAnother hold(file, table);
    const bool was_written = file.Writing() != nullptr;
    if (!BringOpen(file, table)) return CloudStatus::kFailed;
    return was_written ? FinishWritten(file, table) : FinishRead(file, table);
}

}  // namespace

PtcManagedFile* PtcOpenAlone(const char* name) noexcept {
    return CatchNoMemory(name, kNoFileAtAll, [&] { return OpenAlone(name); });
}

PtcManagedFile* PtcOpenManaged(const char* name, bool* opened) {
    bool is_first = false;
    PtcManagedFile* const file =
        CatchNoMemory(name, kNoFileAtAll, [&] { return Open(name, &is_first, MakeBareManager); });
    if (opened) *opened = is_first;
    return file;
}

PtcManagedFile* PtcOpenForReading(const char* name) {
    bool is_first = false;
    return CatchNoMemory(name, kNoFileAtAll,
                         [&] { return Open(name, &is_first, MakeManagerByOptions); });
}

void* PtcOpenHandle(const char* name) {
    return PtcOpenForReading(name);
}

PtcManagedFile* PtcOpenWithVariables(const char* name, PtcVariables* variables) {
    PtcManagedFile* const file = PtcOpenForReading(name);
    if (!file) return nullptr;
    PtcVariables found;
    if (PtcGetVariables(file, &found, nullptr)) {
        if (!found.names.empty()) {
            if (variables) *variables = std::move(found);
            return file;
        }
        SetFailure(PtcFailureCode::kNoSuchRecord, file->Name(), "declares no point variables");
    }
    PtcRelease(file);
    return nullptr;
}

void PtcRelease(PtcManagedFile* file) noexcept {
    if (!file) return;
    if (file->HasOutlivedManager()) {
        UtFileManager::ReleaseOutlived(*file);
    } else if (!file->IsManaged()) {
        delete file;
    } else if (ThreadFiles* const table =
                   CatchNoMemory(file->Name(), static_cast<ThreadFiles*>(nullptr),
                                 [] { return UtFileManager::Get(); })) {
        table->Release(*file);
    }
}

std::int32_t PtcFinish(PtcManagedFile* file) {
    if (!file) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no file");
        return static_cast<std::int32_t>(CloudStatus::kFailed);
    }
    const CloudStatus status =
        CatchNoMemory(file->Name(), CloudStatus::kFailed, [&] { return Finish(*file); });
    PtcRelease(file);
    return static_cast<std::int32_t>(status);
}
