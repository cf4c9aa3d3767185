// Where each thread's last failure is kept.

#include "ptc/access/last_failure.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "util/base/process_wide.h"
#include "util/base/thread_slot.h"
#include "util/text/system_reason.h"

namespace {

/// The words of a failure. On the heap: what is thread-local in a shared object with lookups that
/// are inlined comes out of the few hundred bytes that the system keeps for all such objects.
struct Kept {
    std::size_t what = 0;    ///< where in `text` it begins
    std::size_t reason = 0;  ///< likewise
    std::size_t length = 0;
    char text[1024] = {};

    /// Appends `part` as far as there is room.
    void Append(const char* part) {
        const std::size_t room = sizeof text - 1 - length;
        const std::size_t bytes = std::min(std::strlen(part), room);
        std::memcpy(text + length, part, bytes);
        length += bytes;
        text[length] = '\0';
    }
};

struct KeptTexts {
    ThreadSlot<Kept> of_threads{ThreadSlotEnd::kFreeWithThread};
};

ThreadSlot<Kept>& Texts() {
    return process_wide::The<KeptTexts>().of_threads;
}

/// What needs no memory.
struct Bare {
    PtcFailureCode code;
    int error;
};
constinit thread_local Bare bare{PtcFailureCode::kNone, 0};

/// What a failure says when there is no memory for its words.
const char* WordsOf(PtcFailureCode code) {
    if (code == PtcFailureCode::kNone) return "";
    return code == PtcFailureCode::kNoMemory ? "memory ran out"
                                             : "failed, and no memory was left to say why";
}

}  // namespace

void SetFailure(PtcFailureCode code, const char* file, const char* what, int error,
                const char* reason) noexcept {
    const SystemReason words(error);
    if (!reason) reason = error != 0 ? words.c_str() : "";
    bare = {code, error};
    Kept* const kept =
        Texts().FindOrMake([] { return std::unique_ptr<Kept>(new (std::nothrow) Kept); });
    if (!kept) return;
    kept->length = 0;
    if (file) {
        kept->Append(file);
        kept->Append(": ");
    }
    kept->what = kept->length;
    kept->Append(what);
    if (*reason) kept->Append(": ");
    kept->reason = kept->length;
    kept->Append(reason);
}

PtcFailure PtcLastFailure() noexcept {
    const Kept* const kept = bare.code == PtcFailureCode::kNone ? nullptr : Texts().Find();
    if (kept)
        return {bare.code, bare.error, kept->text, kept->text + kept->what,
                kept->text + kept->reason};
    const char* const words = WordsOf(bare.code);
    return {bare.code, bare.error, words, words, ""};
}
