// ProcessName: which process of which machine has a task, and whether it still lives.
//
// Units      none.
// Errors     none: what cannot be told is kUnknown.
// Ownership  a value.
// Threads    any.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace farm {

struct ProcessName {
    std::string host;
    std::string kernel;  ///< the machine's last start, and the namespace of its processes
    pid_t process = 0;
    std::uint64_t begin = 0;  ///< when the process began, in the kernel's ticks

    bool operator==(const ProcessName&) const = default;
};

ProcessName ThisProcess();

enum class Life { kLives, kIsDead, kUnknown };

/// Whether the process lives. Another machine's processes are unknown. A number that another
/// process has got since does not deceive.
Life LifeOf(const ProcessName& name);

}  // namespace farm
