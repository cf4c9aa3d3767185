// BoundedChild: forks, sets the limits, connects the pipe.

#include "tools/scene/bounded_child.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "tools/common/failure.h"

namespace scene {

namespace {

using Clock = std::chrono::steady_clock;

/// For a child whose reader has all that it wants, or has seen the end.
constexpr std::chrono::seconds kForEnding{10};
constexpr std::chrono::milliseconds kBetweenLooks{1};

/// The address space that this process uses; 0 when it is unknown.
std::uint64_t AddressSpace() {
    std::FILE* const file = std::fopen("/proc/self/statm", "re");
    unsigned long pages = 0;
    if (!file) return 0;
    const bool is_read = std::fscanf(file, "%lu", &pages) == 1;
    (void)std::fclose(file);
    const long page = sysconf(_SC_PAGESIZE);
    return is_read && page > 0 ? std::uint64_t{pages} * static_cast<std::uint64_t>(page) : 0;
}

/// False: the bound could not be set.
bool Bound(std::uint64_t memory) {
    rlimit limit{};
    if (memory == 0 || getrlimit(RLIMIT_AS, &limit) != 0) return false;
    limit.rlim_cur = std::min<rlim_t>(memory, limit.rlim_max);
    return setrlimit(RLIMIT_AS, &limit) == 0;
}

/// Prepares the child before its work. False: the system refused.
bool Isolate(std::uint64_t memory, pid_t parent) {
    // Otherwise nothing would end a child that outlives the program.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) return false;
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0 || dup2(nowhere, STDERR_FILENO) < 0)
        return false;
    const rlimit no_core{};
    const std::uint64_t taken = AddressSpace();
    return setrlimit(RLIMIT_CORE, &no_core) == 0 && taken > 0 && Bound(taken + memory);
}

/// Whether the child ends in time. It stays a zombie, so that its number and its group's are its
/// own.
bool EndsInTime(pid_t process) {
    const Clock::time_point until = Clock::now() + kForEnding;
    for (;;) {
        siginfo_t ended{};
        const int result =
            waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT | WNOHANG);
        if (result != 0 ? errno != EINTR : ended.si_pid != 0) return true;
        if (Clock::now() >= until) return false;
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

/// Ends the child and what it has started. Where the system keeps no ends of children, the number
/// of one that has ended may be a stranger's: then nothing is sent.
void EndGroup(pid_t process) {
    siginfo_t ignored{};
    if (waitid(P_PID, static_cast<id_t>(process), &ignored, WEXITED | WNOWAIT | WNOHANG) != 0)
        return;
    (void)kill(-process, SIGKILL);
    (void)kill(process, SIGKILL);  // it may have left its group
}

/// Never returns; neither runs the program's exit functions nor flushes its buffers.
[[noreturn]] void RunChild(int to, const std::function<void(std::FILE*)>& work) {
    std::FILE* const stream = fdopen(to, "w");
    if (!stream) _exit(1);
    work(stream);
    _exit(std::fclose(stream) == 0 ? 0 : 1);
}

}  // namespace

BoundedChild::BoundedChild(std::uint64_t memory, const std::function<void(std::FILE* to)>& work) {
    std::array<int, 2> ends{};  // for reading, for writing
    if (pipe2(ends.data(), O_CLOEXEC) != 0) FailWithErrno("cannot make a pipe");
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ == 0) {
        (void)close(ends[0]);
        (void)setpgid(0, 0);
        if (!Isolate(memory, parent)) _exit(1);
        RunChild(ends[1], work);
    }
    const int error = errno;
    (void)close(ends[1]);
    if (process_ < 0) {
        (void)close(ends[0]);
        FailWithErrno("cannot make a process", error);
    }
    (void)setpgid(process_, process_);  // whoever of the two is first
    from_.reset(fdopen(ends[0], "r"));
    if (from_) return;
    // The destructor does not run if the constructor throws.
    const int reason = errno;
    (void)close(ends[0]);
    EndGroup(process_);
    (void)Wait();
    FailWithErrno("cannot read from a process", reason);
}

BoundedChild::~BoundedChild() {
    if (process_ < 0) return;
    EndGroup(process_);
    (void)Wait();
}

std::string BoundedChild::Wait() {
    from_.reset();  // otherwise a child that writes on would wait for us
    const bool ends = EndsInTime(process_);
    EndGroup(process_);
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(process_, &status, 0);
    } while (ended < 0 && errno == EINTR);
    process_ = -1;
    if (!ends) return "did not end";
    if (ended < 0) return "its end cannot be told";
    if (WIFSIGNALED(status)) return fmt::format("ended by signal {}", WTERMSIG(status));
    const int code = WEXITSTATUS(status);
    return code == 0 ? "" : fmt::format("ended with status {}", code);
}

void BoundedChild::AllowMore(std::uint64_t memory) {
    rlimit limit{};
    // An allocation beyond the limit fails.
    if (getrlimit(RLIMIT_AS, &limit) == 0) (void)Bound(limit.rlim_cur + memory);
}

}  // namespace scene
