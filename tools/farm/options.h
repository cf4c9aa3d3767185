// Options: the command line of pcfarm, checked.

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/farm/job.h"

namespace CLI {
class App;
}

namespace farm {

/// Where the tasks run.
enum class Scheduler { kLocal, kSlurm, kList };

struct Options {
    enum class Command { kStart, kStatus, kResume, kTask } command = Command::kStart;
    std::string job;     ///< a job file or a job's folder; empty: the options are the job
    std::string folder;  ///< of the job; empty: beside the job file

    // What the options say of the job, in place of the job file.
    std::optional<std::string> frames;
    std::optional<int> parts;
    std::optional<std::string> output;
    std::optional<std::string> pictures;
    std::optional<std::string> publish;
    std::optional<std::string> report;
    std::optional<int> time_limit;
    std::vector<std::string> programs;
    bool organize = false;
    bool light = false;
    bool drop_work = false;
    std::vector<std::string> bake;  ///< what comes behind "--"

    Scheduler scheduler = Scheduler::kLocal;
    int processes = 1;  ///< at a time, with kLocal
    bool quiet = false;
    bool json = false;  ///< status
    bool wait = false;  ///< status

    std::string task;
    std::optional<int> parent;  ///< the task ends with this process, which has started it
};

/// The command line, which parses into `*options`: for ParseOptions() and for describing it.
std::unique_ptr<CLI::App> MakeCommandLine(Options* options);

/// Fills `*options`. Answers an exit status if the program must end: 0 after printing the help or
/// the version, 2 after reporting a wrong usage.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

/// The job that the options ask for: the job file's, with what the options say in its place. A
/// Failure if there is no such job.
Job JobOf(const Options& options);

/// The folder of that job.
std::string FolderOf(const Options& options);

}  // namespace farm
