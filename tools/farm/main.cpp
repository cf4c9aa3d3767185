// pcfarm: jobs of many bakes, as tasks for this machine or for a farm.

#include <fmt/format.h>
#include <signal.h>

#include <chrono>
#include <cstring>
#include <exception>

#include "tools/common/failure.h"
#include "tools/common/standard_streams.h"
#include "tools/common/start.h"
#include "tools/farm/local_runner.h"
#include "tools/farm/options.h"
#include "tools/farm/run_task.h"
#include "tools/farm/slurm.h"
#include "tools/farm/status.h"
#include "tools/farm/task_list.h"
#include "tools/farm/tied.h"

namespace farm {

namespace {

constexpr std::chrono::seconds kLook{1};

int RunHere(const Options& options, const Job& job, const JobFolder& folder) {
    StopSignals stop;
    const LocalOutcome outcome = RunLocally(job, folder, options.processes, options.quiet, &stop);
    if (!options.quiet) WriteOut(StatusText(StatusOf(job, folder, {})));
    if (outcome.was_stopped) throw Failure("stopped; pcfarm resume runs what is missing");
    if (outcome.failed == 0) return 0;
    throw Failure(fmt::format("{} tasks failed, {} that need them were not started", outcome.failed,
                              outcome.not_started));
}

int Start(const Options& options, const Job& job, const JobFolder& folder) {
    switch (options.scheduler) {
        case Scheduler::kLocal:
            return RunHere(options, job, folder);
        case Scheduler::kSlurm:
            SubmitToSlurm(job, folder, options.quiet);
            return 0;
        case Scheduler::kList:
            PrintTasks(job, folder);
            return 0;
    }
    return 0;
}

/// A scheduler that does not answer for a while has not lost the tasks that it had.
void AskAgain(const JobFolder& folder, QueuedTasks* queued) {
    try {
        *queued = QueuedInSlurm(folder);
    } catch (const Failure& failure) {
        TellFailure("pcfarm", failure);
    }
}

int ShowStatus(const Options& options) {
    const JobFolder folder = JobFolder::Of(options.job);
    const Job job = folder.ReadStoredJob();
    StopSignals stop;
    QueuedTasks queued = QueuedInSlurm(folder);
    JobStatus status = StatusOf(job, folder, queued);
    while (options.wait && status.unfinished > 0 && stop.Signal() == 0) {
        stop.Wait({}, kLook);
        AskAgain(folder, &queued);
        status = StatusOf(job, folder, queued);
    }
    WriteOut(options.json ? StatusJson(status) : StatusText(status));
    return status.failed > 0 || stop.Signal() != 0 ? 1 : 0;
}

int RunOne(const Options& options) {
    if (options.parent) TieToParent(*options.parent, SIGTERM);
    StopSignals stop;
    const JobFolder folder(options.job);
    try {
        RunTask(folder.ReadStoredJob(), folder, options.task, &stop);
    } catch (const Failure& failure) {
        throw Failure(options.task + ": " + failure.what());
    }
    return 0;
}

int RunCommandLine(int argc, char** argv) {
    Options options;
    if (const std::optional<int> status = ParseOptions(argc, argv, &options)) return *status;
    switch (options.command) {
        case Options::Command::kStatus:
            return ShowStatus(options);
        case Options::Command::kTask:
            return RunOne(options);
        case Options::Command::kResume: {
            const JobFolder folder = JobFolder::Of(options.job);
            return Start(options, folder.ReadStoredJob(), folder);
        }
        case Options::Command::kStart:
            break;
    }
    const Job job = JobOf(options);
    const JobFolder folder(FolderOf(options));
    folder.Begin(job);
    return Start(options, job, folder);
}

}  // namespace

}  // namespace farm

int main(int argc, char** argv) {
    // Becoming another program is no option that a user types.
    if (argc > 3 && std::strcmp(argv[1], "tied") == 0) return farm::RunTied(argv[2], argv + 3);
    if (!StartProgram()) return 1;
    // A parent may have left it ignored, and then nobody hears of the ends of processes.
    (void)::signal(SIGCHLD, SIG_DFL);
    try {
        const int status = farm::RunCommandLine(argc, argv);
        FlushOut();
        return status;
    } catch (const std::exception& failure) {
        TellFailure("pcfarm", failure);
    }
    return 1;
}
