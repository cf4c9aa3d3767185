// ChildProcess: another program, started without a shell, and its end.
//
// Units      seconds of wall and processor time; bytes of memory.
// Errors     false, and errno says why; FailedName() says what it is about. Throws std::bad_alloc
//            when memory runs out.
// Ownership  owns the process, which becomes the leader of a group of its own. The group ends with
//            its leader: Wait(), Stop() and the destructor kill what is left of it and wait for the
//            leader, so that no zombie stays. What leaves the group is not ours any more.
// Threads    one caller at a time; different objects may be used by different threads at once.
//
// The child inherits the three standard descriptors as the request says and no other one, and has
// the default action for every signal and none blocked. No signal handler of this process is
// touched, and no child of anybody else is waited for. Starting fails with ECHILD while this
// process ignores SIGCHLD, because the system then forgets how a child has ended.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "util/io/owned_descriptor.h"

struct ChildRequest {
    /// The program and its arguments. A program without a slash is looked up along this process's
    /// PATH; one with a relative path begins at `folder`.
    std::vector<std::string> arguments;
    /// Variables "NAME=value" that are added to this process's, or replace them.
    std::vector<std::string> environment;
    std::string folder;  ///< to start in; empty: this process's

    enum class Output {
        kPassed,     ///< standard output and error are this process's
        kCollected,  ///< both are read by TakeOutput(); nothing else than it, Wait() and Stop()
                     ///< takes what is written, and a full pipe lets the child wait for them
        kAppended,   ///< both are appended to `output_file`, whose path begins at this process's
                     ///< folder
    } output = Output::kPassed;
    std::string output_file;
};

/// How a process ended.
struct ChildEnd {
    /// The exit status; 0 if a signal ended it; -1 if that is unknown, because something else in
    /// this process has waited for the child, or because none was started.
    int status = 0;
    int signal = 0;           ///< the signal that ended it; 0: none
    double user_seconds = 0;  ///< processor time, that of the children it has waited for included
    double system_seconds = 0;
    /// Of resident memory. The system counts at least what this process had when it started the
    /// child.
    std::int64_t peak_bytes = 0;

    bool IsSuccess() const { return status == 0 && signal == 0; }
};

class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Starts the program; its standard input is empty. Caller: no process of this object runs.
    [[nodiscard]] bool Start(const ChildRequest& request);

    /// The process's number, which is that of its group; -1: none was started.
    pid_t Process() const { return process_; }

    /// Of what a failed Start() speaks: the program, the folder, the file or the variable; empty if
    /// the reason is this process.
    const std::string& FailedName() const { return failed_name_; }

    /// A descriptor that is readable once the process has ended, to wait for many with poll(2).
    /// Valid until the next Start().
    int Descriptor() const { return descriptor_.Number(); }

    /// Waits for the end of the process, at most `limit`. Nothing: it still runs. After the end it
    /// answers the same again.
    std::optional<ChildEnd> Wait(std::chrono::milliseconds limit);
    /// The same without a limit.
    ChildEnd Wait();

    /// Asks the group to end with SIGTERM, and kills what is left of it after `grace`. Waits for
    /// others of the group even if the leader has ended already.
    ChildEnd Stop(std::chrono::milliseconds grace);

    static constexpr std::size_t kMostOutput = std::size_t{1} << 20;

    /// With Output::kCollected: what the group has written so far and was not taken yet, the last
    /// bytes of it: at most `most`, and at most kMostOutput. What was before them is dropped, so
    /// that nothing waits for this process.
    std::string TakeOutput(std::size_t most = kMostOutput);

private:
    class Deadline;

    bool Refuse(int error, const std::string& name);
    bool IsFit(const ChildRequest& request);
    bool OpenOutput(const ChildRequest& request, OwnedDescriptor* for_child);
    bool AwaitLeader(const Deadline& deadline);
    void AwaitOthers(const Deadline& deadline);
    bool IsOurs() const;
    void SignalGroup(int signal) const;
    void Drain();
    void Finish();

    pid_t process_ = -1;
    OwnedDescriptor descriptor_;
    OwnedDescriptor output_;  ///< what the group writes, for reading
    std::string collected_;
    std::string failed_name_;
    std::optional<ChildEnd> end_;
};
