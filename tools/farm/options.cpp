// Options: their names, ranges and help, with CLI11.

#include "tools/farm/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <string_view>

#include "tools/common/failure.h"
#include "tools/common/help_format.h"
#include "tools/common/option_values.h"
#include "tools/common/parse_error.h"
#include "tools/farm/frame_list.h"
#include "tools/farm/job_folder.h"

namespace farm {

namespace {

constexpr const char* kAbout =
    "Bakes the frames of a job in parts, on this machine or on a farm, and makes clouds of them.";
constexpr const char* kExitStatus = "Exit status: 0 done, 1 failed, 2 wrong usage.";
constexpr int kMostProcesses = 1024;

CLI::Option* AddJob(CLI::App& app, Options* options) {
    return NamesFile(app.add_option("JOB", options->job, "a job file, or the folder of a job"));
}

void AddSchedulers(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "Where the tasks run";
    CLI::Option* const local =
        app.add_option("--local", options->processes, "on this machine, N at a time (1)")
            ->type_name("N")
            ->check(Count(1, kMostProcesses))
            ->group(kGroup);
    CLI::Option* const slurm =
        app.add_flag_callback(
               "--slurm", [options] { options->scheduler = Scheduler::kSlurm; },
               "as array jobs of Slurm with dependent jobs behind them")
            ->group(kGroup);
    CLI::Option* const list = app.add_flag_callback(
                                     "--list", [options] { options->scheduler = Scheduler::kList; },
                                     "nowhere: print a command for each, for another scheduler")
                                  ->group(kGroup);
    local->excludes(slurm)->excludes(list);
    slurm->excludes(list);
    app.add_flag("--quiet", options->quiet, "no progress bar, no summary");
}

void AddJobOptions(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "The job (in place of what the job file says)";
    const auto text = [&](const char* name, std::optional<std::string>* value, const char* kind,
                          const char* help) {
        app.add_option(name, *value, help)->type_name(kind)->group(kGroup);
    };
    text("--frames", &options->frames, "LIST", "such as 1-12, 1-12x3 or 1,5-9");
    app.add_option("--parts", options->parts, "parts that a frame is baked in (1)")
        ->type_name("N")
        ->check(Count(1, kMostParts))
        ->group(kGroup);
    text("--output", &options->output, "NAME", "the cloud of a frame, such as room.{frame}.ptc");
    text("--pictures", &options->pictures, "NAME", "the picture of a frame, such as {frame}.png");
    text("--publish", &options->publish, "FOLDER", "where copies of both go");
    app.add_flag("--organize", options->organize, "organise the clouds")->group(kGroup);
    app.add_flag("--light", options->light, "gather light for the clouds' points")->group(kGroup);
    app.add_flag("--drop-work", options->drop_work,
                 "remove clouds that have become a part of others")
        ->group(kGroup);
    app.add_option("--time-limit", options->time_limit, "seconds that a task may take; 0: any")
        ->type_name("S")
        ->check(Count(0, std::numeric_limits<int>::max()))
        ->group(kGroup);
    text("--report", &options->report, "HOST:PORT", "a monitor that the commands report to");
    app.add_option("--programs", options->programs, "a folder with pcbake and ptc")
        ->type_name("FOLDER")
        ->group(kGroup)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(1, 1);
    app.add_option("--folder", options->folder, "the job's folder (beside the job file)")
        ->type_name("FOLDER")
        ->transform(FileName())
        ->group(kGroup);
}

CLI::App* AddCommand(CLI::App& app, Options* options, const char* name, Options::Command command,
                     const char* about) {
    CLI::App* const added = app.add_subcommand(name, about);
    added->footer(kExitStatus);
    added->callback([options, command] { options->command = command; });
    return added;
}

void AddCommands(CLI::App& app, Options* options) {
    CLI::App* const status =
        AddCommand(app, options, "status", Options::Command::kStatus,
                   "say how far a job is, what has failed and why, and what it has cost");
    AddJob(*status, options)->required();
    status->add_flag("--json", options->json, "as JSON");
    status->add_flag("--wait", options->wait, "wait until nothing runs or is queued");
    CLI::App* const resume = AddCommand(app, options, "resume", Options::Command::kResume,
                                        "run what is missing of a job");
    AddJob(*resume, options)->required();
    AddSchedulers(*resume, options);
    CLI::App* const task = AddCommand(app, options, "task", Options::Command::kTask,
                                      "run one task of a job, as schedulers do");
    AddJob(*task, options)->required();
    task->add_option("TASK", options->task, "such as 0001.bake.3")->required()->type_name("");
    task->add_option("--tied", options->parent, "stop when process N, which started it, ends")
        ->type_name("N");
}

}  // namespace

std::unique_ptr<CLI::App> MakeCommandLine(Options* options) {
    auto app = std::make_unique<CLI::App>(kAbout, "pcfarm");
    app->formatter(std::make_shared<HelpFormat>());
    app->set_version_flag("--version", "pcfarm " TOOLS_VERSION);
    app->footer(kExitStatus);
    app->option_defaults()->take_last();  // the last of several wins
    AddJob(*app, options);
    AddSchedulers(*app, options);
    AddJobOptions(*app, options);
    AddCommands(*app, options);
    app->require_subcommand(0, 1);
    return app;
}

std::optional<int> ParseOptions(int argc, char** argv, Options* options) {
    const std::unique_ptr<CLI::App> app = MakeCommandLine(options);
    // What comes behind "--" is for pcbake. It must not be taken for options of ours.
    char** const end = std::find(argv, argv + argc, std::string_view("--"));
    if (end != argv + argc) options->bake.assign(end + 1, argv + argc);
    try {
        app->parse(static_cast<int>(end - argv), argv);
        if (options->command == Options::Command::kStart && options->job.empty() &&
            options->bake.empty())
            throw CLI::ValidationError("JOB", "is required, or -- and the arguments of pcbake");
        if (options->command == Options::Command::kStart && options->job.empty() &&
            options->folder.empty())
            throw CLI::ValidationError("--folder", "is required without a job file");
    } catch (const CLI::ParseError& stop) {
        return AnswerParseError("pcfarm", *app, stop);
    }
    return std::nullopt;
}

Job JobOf(const Options& options) {
    Job job;
    job.base = std::filesystem::current_path();
    if (!options.job.empty())
        job = std::filesystem::is_directory(options.job) ? JobFolder(options.job).ReadStoredJob()
                                                         : ReadJob(options.job);
    if (options.frames) job.frames = ParseFrames(*options.frames);
    if (options.parts) job.parts = *options.parts;
    if (options.output) job.output = *options.output;
    if (options.pictures) job.pictures = *options.pictures;
    if (options.pictures && !job.picture) job.picture.emplace();
    if (options.publish) job.publish = *options.publish;
    if (options.report) job.report = *options.report;
    if (options.time_limit) job.time_limit = *options.time_limit;
    if (!options.programs.empty()) job.programs = options.programs;
    if (options.organize && !job.organize) job.organize.emplace();
    if (options.light && !job.light) job.light.emplace();
    if (options.drop_work) job.keep_work = false;
    if (!options.bake.empty()) job.bake = options.bake;
    CheckJob(job, options.job.empty() ? "the options" : options.job);
    return job;
}

std::string FolderOf(const Options& options) {
    return options.folder.empty() ? JobFolder::Of(options.job).Path() : options.folder;
}

}  // namespace farm
