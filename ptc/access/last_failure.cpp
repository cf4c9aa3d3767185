// Where each thread's last failure is kept.

#include "ptc/access/last_failure.h"

#include <algorithm>
#include <cstring>

#include "util/text/system_reason.h"

namespace {

/// A plain array: it needs nothing when its thread ends, even after an unload.
struct Kept {
    PtcFailureCode code = PtcFailureCode::kNone;
    int error = 0;
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
constinit thread_local Kept kept;

}  // namespace

void SetFailure(PtcFailureCode code, const char* file, const char* what, int error,
                const char* reason) noexcept {
    const SystemReason words(error);
    if (!reason) reason = error != 0 ? words.c_str() : "";
    kept.code = code;
    kept.error = error;
    kept.length = 0;
    if (file) {
        kept.Append(file);
        kept.Append(": ");
    }
    kept.what = kept.length;
    kept.Append(what);
    if (*reason) kept.Append(": ");
    kept.reason = kept.length;
    kept.Append(reason);
}

PtcFailure PtcLastFailure() noexcept {
    return {kept.code, kept.error, kept.text, kept.text + kept.what, kept.text + kept.reason};
}
