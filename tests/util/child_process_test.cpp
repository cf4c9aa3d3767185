// Child processes: what cannot be started, how they end, what they inherit, and that nothing stays.

#include "util/host/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "tests/support/scratch.h"
#include "util/host/process_group.h"

namespace {

using namespace std::chrono_literals;
using Output = ChildRequest::Output;

long OpenDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return std::distance(begin(folder), end(folder));
}

/// Each test ends with as many descriptors as it began with, and with no child.
class UtilChildProcess : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(OpenDescriptors(), before_);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
        EXPECT_EQ(errno, ECHILD);
    }

    ScratchFolder scratch_;

private:
    const long before_ = OpenDescriptors();
};

ChildRequest Shell(const std::string& script, Output output = Output::kCollected) {
    return {.arguments = {"/bin/sh", "-c", script},
            .environment = {},
            .folder = {},
            .output = output,
            .output_file = {}};
}

void WaitForFile(const std::string& file) {
    for (int looks = 0; looks < 2000 && !std::filesystem::exists(file); ++looks) usleep(10'000);
}

TEST_F(UtilChildProcess, WhatCannotStartSaysWhyAndLeavesNothing) {
    const std::string folder = scratch_.File("");
    const std::string plain = WriteTo(scratch_.File("plain"), "exit 0\n");
    const std::string text = WriteTo(scratch_.File("text"), "exit 0\n");
    ASSERT_EQ(chmod(text.c_str(), 0755), 0);
    const std::string fifo = scratch_.File("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string long_one(200'000, 'x');
    const std::string zero("a\0b", 3);
    const std::string path = std::getenv("PATH");
    setenv("PATH", "/usr/bin:/bin", 1);  // a folder that is closed to us would be the reason
    const struct {
        const char* name;
        ChildRequest request;
        int error;
        std::string about;
    } cases[] = {
        {"missing", {{"/nowhere/x"}, {}, {}, {}, {}}, ENOENT, "/nowhere/x"},
        {"not in PATH", {{"no-such-program"}, {}, {}, {}, {}}, ENOENT, "no-such-program"},
        {"empty program", {{""}, {}, {}, Output::kCollected, {}}, ENOENT, ""},
        {"a folder", {{folder}, {}, {}, {}, {}}, EACCES, folder},
        {"not executable", {{plain}, {}, {}, {}, {}}, EACCES, plain},
        {"not a program", {{text}, {}, {}, {}, {}}, ENOEXEC, text},
        {"no arguments", {{}, {}, {}, {}, {}}, EINVAL, ""},
        {"long argument", {{"/bin/true", long_one}, {}, {}, {}, {}}, E2BIG, "/bin/true"},
        {"zero byte", {{"/bin/true", zero}, {}, {}, {}, {}}, EINVAL, "a"},
        {"folder missing", {{"/bin/true"}, {}, "/nowhere", {}, {}}, ENOENT, "/nowhere"},
        {"folder a file", {{"/bin/true"}, {}, plain, {}, {}}, ENOTDIR, plain},
        {"no equals", {{"/bin/true"}, {"NAME"}, {}, {}, {}}, EINVAL, "NAME"},
        {"no name", {{"/bin/true"}, {"=x"}, {}, {}, {}}, EINVAL, "=x"},
        {"log a folder", {{"/bin/true"}, {}, {}, Output::kAppended, folder}, EISDIR, folder},
        {"log nowhere", {{"/bin/true"}, {}, {}, Output::kAppended, "/no/x"}, ENOENT, "/no/x"},
        {"log unread", {{"/bin/true"}, {}, {}, Output::kAppended, fifo}, ENXIO, fifo},
        {"no log", {{"/bin/true"}, {}, {}, Output::kAppended, {}}, ENOENT, ""},
    };
    for (const auto& row : cases) {
        ChildProcess child;
        errno = 0;
        EXPECT_FALSE(child.Start(row.request)) << row.name;
        EXPECT_EQ(errno, row.error) << row.name;
        EXPECT_EQ(child.FailedName(), row.about) << row.name;
        EXPECT_EQ(child.Process(), -1) << row.name;
        EXPECT_EQ(child.Wait().status, -1) << row.name;
    }
    setenv("PATH", path.c_str(), 1);
}

TEST_F(UtilChildProcess, EndsAndOutputsAreTold) {
    constexpr std::size_t kMost = ChildProcess::kMostOutput;
    const struct {
        const char* script;
        int status, signal;
        std::size_t bytes;
        const char* last;
    } cases[] = {
        {"exit 0", 0, 0, 0, ""},
        {"echo out; echo err >&2; exit 3", 3, 0, 8, "out\nerr\n"},
        {"cat; exit 255", 255, 0, 0, ""},
        {"echo x; kill -9 $$", 0, SIGKILL, 2, "x\n"},
        {"kill -SEGV $$", 0, SIGSEGV, 0, ""},
        {"head -c 100000000 /dev/zero; echo end", 0, 0, kMost, "end\n"},
        {"sleep 1000 & echo left behind", 0, 0, 12, "behind\n"},
        {"trap '' TERM; yes & sleep 0.1; exit 7", 7, 0, kMost, "y\n"},
        {"exec >&- 2>&-; sleep 0.1; exit 4", 4, 0, 0, ""},
        // Out of our reach, but it cannot hold us.
        {"setsid sleep 0.5 & echo away", 0, 0, 5, "away\n"},
    };
    for (const auto& row : cases) {
        ChildProcess child;
        ASSERT_TRUE(child.Start(Shell(row.script))) << row.script;
        const ChildEnd end = child.Wait();
        EXPECT_EQ(end.status, row.status) << row.script;
        EXPECT_EQ(end.signal, row.signal) << row.script;
        EXPECT_EQ(end.IsSuccess(), row.status == 0 && row.signal == 0) << row.script;
        EXPECT_GT(end.peak_bytes, 100'000) << row.script;
        EXPECT_FALSE(GroupHasOthers(child.Process())) << row.script;
        const std::string output = child.TakeOutput();
        EXPECT_EQ(output.size(), row.bytes) << row.script;
        EXPECT_TRUE(output.ends_with(row.last)) << row.script << output.substr(0, 100);
        EXPECT_EQ(child.Wait(0ms)->status, row.status) << "the same again";
    }
}

TEST_F(UtilChildProcess, StopGivesTheWholeGroupItsGrace) {
    const struct {
        const char* script;
        std::chrono::milliseconds grace;
        int status, signal;
        const char* output;
    } cases[] = {
        {"touch ready; exec sleep 1000", 20s, 0, SIGTERM, ""},
        {"trap 'echo end; exit 5' TERM; touch ready; while :; do sleep 0.01; done", 20s, 5, 0,
         "end\n"},
        {"trap '' TERM; touch ready; while :; do sleep 0.01; done", 50ms, 0, SIGKILL, ""},
        // The leader has ended, another one of the group still writes something.
        {"(trap 'sleep 0.2; echo saved; exit' TERM; touch ready; while :; do sleep 0.01; done) & "
         "while ! test -e ready; do sleep 0.01; done; exit 6",
         20s, 6, 0, "saved\n"},
        {"(trap '' TERM; touch ready; while :; do sleep 0.01; done) & exec sleep 1000", 50ms, 0,
         SIGTERM, ""},
        {"touch ready; kill -STOP $$; exit 1", 20s, 0, SIGTERM, ""},
    };
    for (const auto& row : cases) {
        const std::string ready = scratch_.File("ready");
        ChildProcess child;
        ChildRequest request = Shell(row.script);
        request.folder = scratch_.File("");
        ASSERT_TRUE(child.Start(request)) << row.script;
        WaitForFile(ready);
        if (row.status == 6) usleep(100'000);
        const auto begin = std::chrono::steady_clock::now();
        const ChildEnd end = child.Stop(row.grace);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s) << row.script;
        EXPECT_EQ(end.status, row.status) << row.script;
        EXPECT_EQ(end.signal, row.signal) << row.script;
        // The shell itself may have reported what ended before.
        EXPECT_TRUE(child.TakeOutput().ends_with(row.output)) << row.script;
        EXPECT_FALSE(GroupHasOthers(child.Process())) << row.script;
        std::filesystem::remove(ready);
    }
}

TEST_F(UtilChildProcess, InheritsThreeDescriptorsNoSignalsAndWhatIsAsked) {
    const int open_one = dup2(STDERR_FILENO, 77);  // without O_CLOEXEC
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto ignored = signal(SIGPIPE, SIG_IGN);
    setenv("KEPT", "kept", 1);
    setenv("KEPT_TOO", "kept too", 1);

    ChildRequest request = Shell(
        "ls /proc/self/fd; pwd; "
        "echo $KEPT, $KEPT_TOO, $ADDED; test $(cut -d' ' -f5 /proc/$$/stat) = $$ && echo leads",
        Output::kAppended);
    request.environment = {"KEPT=first", "ADDED=new", "KEPT=changed"};
    request.folder = std::filesystem::canonical(scratch_.File("")).string();
    request.output_file = WriteTo(scratch_.File("log"), "before\n");
    {
        ChildProcess child;
        ASSERT_TRUE(child.Start(request));
        EXPECT_FALSE(child.Start(request));
        EXPECT_EQ(errno, EBUSY);
        EXPECT_TRUE(child.Wait().IsSuccess());
        // No shell, which would change them itself. Seven digits: the C library keeps signals of
        // its own above.
        request.arguments = {"sed", "-nE", "s/^(Sig(Blk|Ign)).*(.{7})$/\\1 \\3/p",
                             "/proc/self/status"};
        ASSERT_TRUE(child.Start(request));
        EXPECT_TRUE(child.Wait().IsSuccess());
    }
    // 3 is the folder that ls lists.
    EXPECT_EQ(ContentOf(request.output_file),
              "before\n0\n1\n2\n3\n" + request.folder +
                  "\nchanged, kept too, new\nleads\nSigBlk 0000000\nSigIgn 0000000\n");
    unsetenv("KEPT");
    unsetenv("KEPT_TOO");
    signal(SIGPIPE, ignored);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(open_one);
}

TEST_F(UtilChildProcess, TooFewDescriptorsFailWhereverTheyRunOut) {
    rlimit whole{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &whole), 0);
    int failed = 0;
    bool started = false;
    ChildRequest request = Shell("exit 3");
    request.folder = scratch_.File("");
    for (rlim_t most = 0; !started && most < 1000; ++most) {
        const rlimit few{.rlim_cur = most, .rlim_max = whole.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        ChildProcess child;
        started = child.Start(request);
        const int error = errno;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &whole), 0);
        if (started) {
            EXPECT_EQ(child.Wait().status, 3);
        } else {
            EXPECT_EQ(error, EMFILE) << most;
        }
        failed += started ? 0 : 1;
    }
    EXPECT_TRUE(started);
    EXPECT_GE(failed, 4) << "for the folder, the ends of the pipe and the process";
}

int signals_seen = 0;
void CountSignal(int) {
    ++signals_seen;
}

TEST_F(UtilChildProcess, TheHostsSignalsAndWaitsAreItsOwn) {
    struct sigaction count {};
    struct sigaction old_child {};
    struct sigaction old_alarm {};
    struct sigaction after {};
    count.sa_handler = CountSignal;  // without SA_RESTART: every call is interrupted
    sigaction(SIGCHLD, &count, &old_child);
    sigaction(SIGALRM, &count, &old_alarm);
    const itimerval often{.it_interval = {0, 2000}, .it_value = {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    ChildProcess child;
    ASSERT_TRUE(child.Start(Shell("sleep 0.1; exit 9")));
    EXPECT_FALSE(child.Wait(20ms));
    EXPECT_EQ(child.Wait().status, 9);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(signals_seen, 5);

    ASSERT_TRUE(child.Start(Shell("exit 9")));
    EXPECT_EQ(waitpid(child.Process(), nullptr, 0), child.Process());
    EXPECT_EQ(child.Wait().status, -1) << "the host was faster";

    sigaction(SIGCHLD, nullptr, &after);
    EXPECT_EQ(after.sa_handler, CountSignal);
    signal(SIGCHLD, SIG_IGN);
    EXPECT_FALSE(child.Start(Shell("exit 0")));
    EXPECT_EQ(errno, ECHILD);
    sigaction(SIGCHLD, &old_child, nullptr);
    sigaction(SIGALRM, &old_alarm, nullptr);
}

TEST_F(UtilChildProcess, ProcessesOfAnObjectEndWithIt) {
    pid_t group = -1;
    {
        ChildProcess child;
        ASSERT_TRUE(child.Start(Shell("trap '' TERM; sleep 1000 & sleep 1000")));
        group = child.Process();
        EXPECT_FALSE(child.Wait(50ms));
    }
    EXPECT_EQ(kill(group, 0), -1);
    EXPECT_FALSE(GroupHasOthers(group));
}

}  // namespace
