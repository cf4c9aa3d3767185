// The library's progress as the tools' bar.

#pragma once

#include <cstdint>

#include "tools/common/progress.h"

class LibraryProgress {
public:
    LibraryProgress() : bar_(kSteps, true) {}

    /// A PtcProgress; `context` is one of these.
    static bool Show(void* context, double done) {
        static_cast<LibraryProgress*>(context)->bar_.Show(
            static_cast<std::uint64_t>(done * kSteps));
        return true;
    }

private:
    static constexpr std::uint64_t kSteps = 1000;
    Progress bar_;
};
