// Slurm: calling sbatch and squeue.

#include "tools/farm/slurm.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "tools/common/failure.h"
#include "tools/common/number.h"
#include "tools/common/parts.h"
#include "tools/common/standard_streams.h"
#include "tools/common/start.h"
#include "tools/farm/digest.h"
#include "tools/farm/frame_list.h"
#include "tools/farm/freshness.h"
#include "tools/farm/programs.h"
#include "tools/farm/small_file.h"
#include "tools/farm/task.h"
#include "tools/farm/task_list.h"
#include "util/host/child_process.h"

namespace farm {

namespace {

/// Slurm's own limit of an array, unless the site has set another one, is 1001.
constexpr int kArray = 1000;
constexpr std::size_t kMostOutput = std::size_t{256} << 20;

/// What a command has said last, in one line. Slurm names a fault before it recommends its help.
std::string LastLines(const std::string& output) {
    constexpr int kLines = 3;
    std::size_t begin = output.size();
    for (int line = 0; line < kLines && begin > 0 && begin != output.npos; ++line)
        begin = output.rfind('\n', begin - 1);
    std::string lines = output.substr(begin == output.npos ? 0 : begin);
    std::replace(lines.begin(), lines.end(), '\n', ' ');
    return lines.substr(std::min(lines.find_first_not_of(' '), lines.size()));
}

/// What a command of Slurm prints.
std::string OutputOf(const std::vector<std::string>& arguments) {
    ChildRequest request;
    request.arguments = arguments;
    request.output = ChildRequest::Output::kCollected;
    ChildProcess child;
    if (!child.Start(request))
        throw Failure(fmt::format("cannot start {}, is Slurm installed here? {}", arguments.front(),
                                  std::generic_category().message(errno)));
    const ChildEnd end = child.Wait();
    std::string output = child.TakeOutput(kMostOutput);
    while (output.ends_with('\n')) output.pop_back();
    if (end.IsSuccess()) return output;
    throw Failure(output.empty() ? fmt::format("{}: status {}", arguments.front(), end.status)
                                 : LastLines(output));
}

/// `text` with nothing in it that Slurm replaces in names of files.
std::string FilePattern(const std::string& text) {
    std::string pattern;
    for (const char one : text) pattern.append(one == '%' ? 2 : 1, one);
    return pattern;
}

/// Jobs of other folders have other names. The task's name is behind it; an array has its part as
/// Slurm's index, after the number of parts that earlier arrays have.
std::string NamePrefix(const JobFolder& folder) {
    Digest digest;
    digest.Add(folder.Path());
    return "pcfarm-" + digest.Text() + "-";
}

class Submission {
public:
    Submission(const Job& job, const JobFolder& folder)
        : job_(job),
          folder_(folder),
          prefix_(NamePrefix(folder)),
          program_(ShellWord(OwnProgram())),
          queued_(QueuedInSlurm(folder)) {}

    void AddFrame(std::size_t frame) {
        const std::vector<Task> tasks = TasksOf(job_, folder_, frame);
        const Freshness fresh(job_, folder_, tasks);
        std::vector<int> parts;
        is_missing_.assign(tasks.size(), false);
        jobs_.assign(tasks.size(), "");
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            const auto found = queued_.find(tasks[i].name);
            if (found != queued_.end()) {
                jobs_[i] = found->second;
            } else if (Waits(tasks[i]) || !fresh.IsFresh(i)) {
                is_missing_[i] = true;
                if (tasks[i].stage == Stage::kBake) parts.push_back(static_cast<int>(i) + 1);
            }
        }
        SubmitParts(tasks, parts);
        for (std::size_t i = static_cast<std::size_t>(job_.parts); i < tasks.size(); ++i)
            if (is_missing_[i])
                jobs_[i] =
                    Submit(tasks[i].name,
                           {"--output=" + FilePattern(folder_.Log(tasks[i].name)) + ".slurm"},
                           tasks[i].name, After(tasks[i]));
    }

    std::size_t Jobs() const { return submitted_jobs_; }
    std::size_t Tasks() const { return submitted_tasks_; }

private:
    /// Whether one of the tasks before it is handed over or will be.
    bool Waits(const Task& task) const {
        return std::any_of(task.after.begin(), task.after.end(), [&](std::size_t before) {
            return is_missing_[before] || !jobs_[before].empty();
        });
    }

    void SubmitParts(const std::vector<Task>& tasks, const std::vector<int>& parts) {
        for (std::size_t begin = 0; begin < parts.size();) {
            const int earlier = (parts[begin] - 1) / kArray * kArray;
            std::vector<int> indexes;
            const std::size_t first = begin;
            for (; begin < parts.size() && parts[begin] <= earlier + kArray; ++begin)
                indexes.push_back(parts[begin] - earlier);
            std::string array = FramesText(indexes);
            std::replace(array.begin(), array.end(), 'x', ':');
            const std::string stage = tasks.front().name.substr(0, tasks.front().name.rfind('.'));
            const std::string id = Submit(
                fmt::format("{}.{}", stage, earlier),
                {"--array=" + array,
                 fmt::format("--output={}.{}+%a.slurm", FilePattern(folder_.Log(stage)), earlier)},
                fmt::format("{}.$((SLURM_ARRAY_TASK_ID + {}))", stage, earlier), "");
            for (std::size_t i = first; i < begin; ++i)
                jobs_[static_cast<std::size_t>(parts[i]) - 1] = id;
            submitted_tasks_ += indexes.size() - 1;
        }
    }

    std::string After(const Task& task) const {
        std::vector<std::string> ids;
        for (const std::size_t before : task.after)
            if (!jobs_[before].empty()) ids.push_back(jobs_[before]);
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
        std::string text;
        for (const std::string& id : ids)
            text += fmt::format("{}{}", text.empty() ? "afterok:" : ":", id);
        return text;
    }

    /// `task`: an expression of the shell's language. The answer: the number of Slurm's job.
    std::string Submit(const std::string& name, const std::vector<std::string>& options,
                       const std::string& task, const std::string& after) {
        std::vector<std::string> arguments = {"sbatch",
                                              "--parsable",
                                              "--requeue",
                                              "--open-mode=truncate",
                                              "--job-name=" + prefix_ + name,
                                              "--chdir=" + PlaceOf(job_.base)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        if (!after.empty()) {
            arguments.push_back("--dependency=" + after);
            arguments.push_back("--kill-on-invalid-dep=yes");
        }
        arguments.insert(arguments.end(), job_.slurm.begin(), job_.slurm.end());
        arguments.push_back(
            fmt::format("--wrap=exec {} task {} {}", program_, ShellWord(folder_.Path()), task));
        // Warnings may come before; clusters with a name add it behind a semicolon.
        const std::string output = OutputOf(arguments);
        std::string id = output.substr(output.rfind('\n') + 1);
        id = id.substr(0, id.find(';'));
        std::uint64_t number = 0;
        if (!ParseNumber(id, &number)) throw Failure("sbatch: " + LastLines(output));
        ++submitted_jobs_;
        ++submitted_tasks_;
        return id;
    }

    const Job& job_;
    const JobFolder& folder_;
    const std::string prefix_;
    const std::string program_;
    const QueuedTasks queued_;
    std::vector<bool> is_missing_;   ///< of the frame's tasks: it must be handed over
    std::vector<std::string> jobs_;  ///< of the frame's tasks: Slurm's job; empty: it has none
    std::size_t submitted_jobs_ = 0;
    std::size_t submitted_tasks_ = 0;
};

/// The task of a line "NAME|NUMBER|INDEX" of squeue; empty: it is not a task of ours.
std::string TaskOf(std::string_view line, const std::string& prefix, std::string* job) {
    Parts parts(line, '|');
    std::string_view name;
    std::string_view number;
    std::string_view index;
    if (!parts.Next(&name) || !parts.Next(&number) || !parts.Next(&index) ||
        !name.starts_with(prefix))
        return "";
    *job = number;
    name.remove_prefix(prefix.size());
    const std::size_t dot = name.rfind('.');
    int earlier = 0;
    int part = 0;
    if (dot == name.npos || !ParseNumber(index, &part)) return std::string(name);
    if (!ParseNumber(name.substr(dot + 1), &earlier)) return "";
    // Of an array only this part: another one may have failed, and then all would count as failed.
    job->append("_").append(index);
    return fmt::format("{}.{}", name.substr(0, dot), earlier + part);
}

}  // namespace

QueuedTasks QueuedInSlurm(const JobFolder& folder) {
    QueuedTasks queued;
    if (!StampOf(folder.SlurmMark())) return queued;
    const std::string output =
        OutputOf({"squeue", "--noheader", "--array", "--me", "--format=%j|%F|%K"});
    const std::string prefix = NamePrefix(folder);
    Parts lines(output, '\n');
    for (std::string_view line; lines.Next(&line);) {
        std::string job;
        const std::string task = TaskOf(line, prefix, &job);
        if (!task.empty()) queued[task] = job;
    }
    return queued;
}

void SubmitToSlurm(const Job& job, const JobFolder& folder, bool is_quiet) {
    Submission submission(job, folder);
    folder.MarkSlurm();
    for (std::size_t frame = 0; frame < job.frames.size(); ++frame) submission.AddFrame(frame);
    if (!is_quiet)
        WriteOut(fmt::format("handed {} tasks to Slurm in {} jobs\n", submission.Tasks(),
                             submission.Jobs()));
}

}  // namespace farm
