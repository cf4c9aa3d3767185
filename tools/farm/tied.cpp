// Tied: asking the system, and becoming the command.

#include "tools/farm/tied.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tools/common/standard_streams.h"

namespace farm {

namespace {

constexpr int kCannotRun = 127;  // as shells answer

}  // namespace

void TieToParent(int signal) {
    const pid_t parent = ::getppid();
    (void)::prctl(PR_SET_PDEATHSIG, signal);
    // If the parent ended before the call, no signal will come.
    if (parent == 1 || ::getppid() != parent) (void)::raise(signal);
}

int RunTied(char** arguments) {
    if (!arguments[0]) return kCannotRun;
    TieToParent(SIGKILL);
    ::execv(arguments[0], arguments);
    Tell("pcfarm", fmt::format("{}: {}", arguments[0], std::generic_category().message(errno)));
    return kCannotRun;
}

}  // namespace farm
