// ChildProcess: starting, waiting with limits, and the end of the group.
//
// As long as the leader was not waited for, its number is its own, and so is the group's: signals
// are sent only then, and never reach a stranger that has been given the number meanwhile.

#include "util/host/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <thread>

#include "util/host/process_group.h"
#include "util/host/spawn.h"
#include "util/io/open_file.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kStandardDescriptors = 3;
constexpr mode_t kReadWriteForAll = 0666;  // what the user's mask leaves of it
constexpr milliseconds kForEver = std::chrono::hours(24 * 365);
constexpr milliseconds kBetweenLooks{10};  // at a group whose leader has ended
constexpr milliseconds kForKilledOnes = std::chrono::seconds(1);
constexpr std::size_t kReadBytes = 65536;
constexpr int kReadsAtOnce = 64;  // more than a pipe holds

/// The same file with a number above the standard ones, which belong to the host.
OwnedDescriptor AboveStandard(int descriptor) {
    OwnedDescriptor low(descriptor);
    if (descriptor < 0 || descriptor >= kStandardDescriptors) return low;
    return OwnedDescriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, kStandardDescriptors));
}

/// Whether the system keeps how our children end.
bool AreEndsKept() {
    struct sigaction action {};
    return ::sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler != SIG_IGN &&
           (action.sa_flags & SA_NOCLDWAIT) == 0;
}

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Waits for `process` alone.
ChildEnd Reap(pid_t process) {
    int status = 0;
    rusage usage{};
    pid_t ended = 0;
    do {
        ended = ::wait4(process, &status, 0, &usage);
    } while (ended < 0 && errno == EINTR);
    ChildEnd end;
    if (ended < 0) {
        end.status = -1;
        return end;
    }
    if (WIFSIGNALED(status))
        end.signal = WTERMSIG(status);
    else
        end.status = WEXITSTATUS(status);
    end.user_seconds = Seconds(usage.ru_utime);
    end.system_seconds = Seconds(usage.ru_stime);
    end.peak_bytes = std::int64_t{usage.ru_maxrss} * 1024;
    return end;
}

}  // namespace

/// The end of a wait that begins now; kForEver and more has none.
class ChildProcess::Deadline {
public:
    explicit Deadline(milliseconds limit) : has_end_(limit < kForEver) {
        if (has_end_) end_ = Clock::now() + std::max(limit, milliseconds(0));
    }

    bool IsPassed() const { return has_end_ && Clock::now() >= end_; }

    /// For poll(2): never shorter than what is left, or it would be asked again and again.
    int PollTime() const {
        if (!has_end_) return -1;
        const auto left = std::chrono::ceil<milliseconds>(end_ - Clock::now()).count();
        return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
    }

private:
    bool has_end_;
    Clock::time_point end_;
};

ChildProcess::~ChildProcess() {
    output_.Reset();  // what is not taken now is not wanted
    if (process_ >= 0 && !end_) Finish();
}

bool ChildProcess::Refuse(int error, const std::string& name) {
    failed_name_ = name;
    errno = error;
    return false;
}

/// The system would take a text with a zero byte for a shorter one.
bool ChildProcess::IsFit(const ChildRequest& request) {
    if (request.arguments.empty()) return Refuse(EINVAL, "");
    for (const auto* texts : {&request.arguments, &request.environment})
        for (const std::string& text : *texts)
            if (text.find('\0') != std::string::npos) return Refuse(EINVAL, text.c_str());
    for (const std::string* path : {&request.folder, &request.output_file})
        if (path->find('\0') != std::string::npos) return Refuse(EINVAL, path->c_str());
    for (const std::string& variable : request.environment)
        if (const std::size_t equals = variable.find('=');
            equals == 0 || equals == std::string::npos)
            return Refuse(EINVAL, variable);
    return true;
}

bool ChildProcess::OpenOutput(const ChildRequest& request, OwnedDescriptor* for_child) {
    if (request.output == ChildRequest::Output::kAppended) {
        // A pipe that nobody reads would otherwise hold this process until somebody does.
        for_child->Reset(OpenFile(request.output_file.c_str(),
                                  O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY,
                                  kReadWriteForAll));
        return (for_child->IsOpen() && ::fcntl(for_child->Number(), F_SETFL, O_APPEND) == 0) ||
               Refuse(errno, request.output_file);
    }
    if (request.output == ChildRequest::Output::kPassed) return true;
    std::array<int, 2> ends{-1, -1};  // for reading, for writing
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return Refuse(errno, "");
    output_ = AboveStandard(ends[0]);
    *for_child = AboveStandard(ends[1]);
    return (output_.IsOpen() && for_child->IsOpen() &&
            ::fcntl(output_.Number(), F_SETFL, O_NONBLOCK) == 0) ||
           Refuse(errno, "");
}

bool ChildProcess::Start(const ChildRequest& request) {
    if (process_ >= 0 && !end_) return Refuse(EBUSY, "");
    process_ = -1;
    descriptor_.Reset();
    output_.Reset();
    collected_.clear();
    failed_name_.clear();
    end_.reset();
    if (!IsFit(request)) return false;
    if (!AreEndsKept()) return Refuse(ECHILD, "");

    OwnedDescriptor folder;
    if (!request.folder.empty()) {
        folder.Reset(OpenFile(request.folder.c_str(), O_PATH | O_DIRECTORY));
        if (!folder.IsOpen()) return Refuse(errno, request.folder);
    }
    OwnedDescriptor for_child;
    const std::vector<std::string> environment = ChangedEnvironment(request.environment);
    const std::string program = request.arguments.front();
    if (!OpenOutput(request, &for_child)) {
        output_.Reset();
        return false;
    }
    pid_t process = -1;
    const int error = SpawnProcess({.arguments = &request.arguments,
                                    .environment = &environment,
                                    .folder = folder.Number(),
                                    .output = for_child.Number()},
                                   &process);
    if (error != 0) {
        output_.Reset();
        return Refuse(error, program);
    }
    process_ = process;
    descriptor_ = AboveStandard(static_cast<int>(::syscall(SYS_pidfd_open, process, 0U)));
    if (descriptor_.IsOpen()) return true;
    const int reason = errno;
    output_.Reset();
    Finish();
    process_ = -1;
    return Refuse(reason, "");
}

/// Takes what is in the pipe now, and keeps the end of it.
void ChildProcess::Drain() {
    for (int reads = 0; reads < kReadsAtOnce && output_.IsOpen(); ++reads) {
        const std::size_t before = collected_.size();
        collected_.resize(before + kReadBytes);
        const ssize_t bytes = ::read(output_.Number(), collected_.data() + before, kReadBytes);
        const int error = errno;
        collected_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(bytes, 0)));
        if (bytes < 0 && error == EAGAIN) return;
        // Reading from a pipe has no other failure; should it, the child may not wait for us.
        if (bytes == 0 || (bytes < 0 && error != EINTR)) output_.Reset();
        // Half of it is moved seldom, rather than all of it at each read.
        if (collected_.size() > 2 * kMostOutput)
            collected_.erase(0, collected_.size() - kMostOutput);
    }
}

/// Whether the leader has ended before `deadline`.
bool ChildProcess::AwaitLeader(const Deadline& deadline) {
    for (;;) {
        std::array<pollfd, 2> sources{{{.fd = descriptor_.Number(), .events = POLLIN, .revents = 0},
                                       {.fd = output_.Number(), .events = POLLIN, .revents = 0}}};
        const int ready = ::poll(sources.data(), sources.size(), deadline.PollTime());
        if (ready > 0 && sources[0].revents != 0) return true;
        if (ready > 0) Drain();
        if (deadline.IsPassed()) return false;
    }
}

/// Waits until the leader, which has ended, is alone in its group.
void ChildProcess::AwaitOthers(const Deadline& deadline) {
    while (!deadline.IsPassed() && GroupHasOthers(process_)) {
        Drain();
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

/// Whether the number still is that of our child: nobody else has waited for it.
bool ChildProcess::IsOurs() const {
    siginfo_t ignored{};
    return ::waitid(P_PID, static_cast<id_t>(process_), &ignored, WEXITED | WNOWAIT | WNOHANG) == 0;
}

void ChildProcess::SignalGroup(int signal) const {
    if (!IsOurs()) return;
    (void)::kill(-process_, signal);
    if (::getpgid(process_) != process_) (void)::kill(process_, signal);  // it has left
}

/// Ends the group and the waiting. Afterwards nothing of the group writes into a file any more,
/// unless the system itself is held up.
void ChildProcess::Finish() {
    SignalGroup(SIGKILL);
    end_ = Reap(process_);
    const Deadline deadline(kForKilledOnes);
    // Once the leader is gone this asks for a group only; whose it is does not matter.
    while (::kill(-process_, 0) == 0 && GroupHasOthers(process_) && !deadline.IsPassed())
        std::this_thread::sleep_for(milliseconds(1));
}

std::optional<ChildEnd> ChildProcess::Wait(milliseconds limit) {
    if (process_ < 0) return ChildEnd{.status = -1};
    if (!end_ && AwaitLeader(Deadline(limit))) Finish();
    return end_;
}

ChildEnd ChildProcess::Wait() {
    return *Wait(kForEver);
}

ChildEnd ChildProcess::Stop(milliseconds grace) {
    if (process_ < 0 || end_) return Wait();
    const Deadline deadline(grace);
    SignalGroup(SIGTERM);
    SignalGroup(SIGCONT);  // a stopped process acts on no other signal
    if (AwaitLeader(deadline)) AwaitOthers(deadline);
    Finish();
    return *end_;
}

std::string ChildProcess::TakeOutput(std::size_t most) {
    Drain();
    if (end_) output_.Reset();  // somebody who has left the group might write for ever
    std::string taken = std::move(collected_);
    collected_.clear();
    most = std::min(most, kMostOutput);
    if (taken.size() > most) taken.erase(0, taken.size() - most);
    return taken;
}
