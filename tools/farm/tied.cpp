// Tied: asking the system, and becoming the command.

#include "tools/farm/tied.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tools/common/number.h"
#include "tools/common/standard_streams.h"

namespace farm {

namespace {

constexpr int kCannotRun = 127;  // as shells answer

}  // namespace

void TieToParent(int parent, int signal) {
    (void)::prctl(PR_SET_PDEATHSIG, signal);
    // If the parent ended before the call, no signal will come.
    if (::getppid() != parent) (void)::raise(signal);
}

int RunTied(const char* parent, char** arguments) {
    int process = 0;
    if (!ParseNumber(parent, &process) || !arguments[0]) return kCannotRun;
    TieToParent(process, SIGKILL);
    ::execv(arguments[0], arguments);
    Tell("pcfarm", fmt::format("{}: {}", arguments[0], std::generic_category().message(errno)));
    return kCannotRun;
}

}  // namespace farm
