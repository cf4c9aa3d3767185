// ChildProcess: another program, started without a shell, and its end.
//
// Units      seconds of wall and processor time; bytes of memory.
// Errors     false, and errno says why. Throws std::bad_alloc when memory runs out.
// Ownership  owns the process, which becomes the leader of a group of its own: the destructor ends
//            the whole group and waits for it, so that no zombie stays.
// Threads    one caller at a time; different objects may be used by different threads at once.
//
// The child inherits the three standard descriptors as the request says and no other one, and has
// the default action for every signal and none blocked. No signal handler of this process is
// touched, and no child of anybody else is waited for.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct ChildRequest {
    /// The program and its arguments. A program without a slash is looked up along PATH.
    std::vector<std::string> arguments;
    /// Variables "NAME=value" that are added to this process's, or replace them.
    std::vector<std::string> environment;
    std::string folder;  ///< to start in; empty: this process's

    enum class Output {
        kPassed,     ///< standard output and error are this process's
        kCollected,  ///< both are read by TakeOutput()
        kAppended,   ///< both are appended to `output_file`
    } output = Output::kPassed;
    std::string output_file;
};

/// How a process ended.
struct ChildEnd {
    int status = 0;           ///< the exit status; 0 if a signal ended it
    int signal = 0;           ///< the signal that ended it; 0: none
    double user_seconds = 0;  ///< processor time, that of the children it has waited for included
    double system_seconds = 0;
    std::int64_t peak_bytes = 0;  ///< of resident memory

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

    /// A descriptor that is readable once the process has ended, to wait for many with poll(2).
    int Descriptor() const { return descriptor_; }

    /// Waits for the end of the process, at most `limit`. Nothing: it still runs. After the end it
    /// answers the same again.
    std::optional<ChildEnd> Wait(std::chrono::milliseconds limit);
    /// The same without a limit.
    ChildEnd Wait();

    /// Asks the group to end with SIGTERM, and kills what is left of it after `grace`.
    ChildEnd Stop(std::chrono::milliseconds grace);

    /// With Output::kCollected: what the group has written so far and was not taken yet, at most
    /// `most` bytes of it; more is dropped, so that nothing waits for this process.
    std::string TakeOutput(std::size_t most = std::size_t{1} << 20);

private:
    pid_t process_ = -1;
    int descriptor_ = -1;
    int output_ = -1;  ///< what the group writes, for reading
    std::optional<ChildEnd> end_;
};
