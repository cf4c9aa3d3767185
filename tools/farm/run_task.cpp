// Running a task: claim, command, output, record.

#include "tools/farm/run_task.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>

#include "tools/common/failure.h"
#include "tools/common/start.h"
#include "tools/farm/claim.h"
#include "tools/farm/freshness.h"
#include "tools/farm/programs.h"
#include "tools/farm/task.h"
#include "util/host/child_process.h"
#include "util/host/copy_file.h"
#include "util/io/open_file.h"
#include "util/text/printable_text.h"

namespace farm {

namespace {

/// How long a command has to end by itself when it is stopped. Schedulers kill after a few seconds.
constexpr std::chrono::seconds kCommandGrace{2};
constexpr std::chrono::milliseconds kPoll{200};
constexpr std::chrono::milliseconds kNoPause{0};
constexpr const char* kLogBegin = "== ";
constexpr const char* kLost = "another process has taken it over";

std::vector<std::string> Arguments(const Job& job, const std::vector<Task>& frame, const Task& task,
                                   const std::string& output) {
    // A command that is left alone must not go on: nobody would take its output.
    std::vector<std::string> arguments = {OwnProgram(), "tied", fmt::format("{}", ::getpid()),
                                          ProgramFile(job, task.command.front())};
    arguments.insert(arguments.end(), task.command.begin() + 1, task.command.end());
    // A monitor is no part of what is made, so it is no part of the task's own command.
    if (!job.report.empty() && task.stage != Stage::kPicture)
        arguments.insert(arguments.end(), {"--report", job.report});
    arguments.insert(arguments.end(), {task.stage == Stage::kBake ? "--output" : "-o", output});
    if (!task.after.empty()) arguments.emplace_back("--");
    for (const std::size_t before : task.after) arguments.push_back(frame[before].output);
    return arguments;
}

std::string TimeText() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    std::array<char, 32> text{};
    (void)::gmtime_r(&now, &utc);
    (void)std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &utc);
    return text.data();
}

/// The log is that of the latest attempt; its first line says when and where that was.
void BeginLog(const std::string& file, const Record& record,
              const std::vector<std::string>& arguments) {
    std::FILE* const log = std::fopen(file.c_str(), "we");
    if (!log) FailWithErrno(file);
    std::string line = fmt::format("{}{} on {}:", kLogBegin, TimeText(), record.owner.host);
    for (const std::string& argument : arguments) line.append(" ").append(Printable(argument));
    std::fprintf(log, "%s\n", line.c_str());
    if (std::fclose(log) != 0) FailWithErrno(file);
}

/// Why a command has failed: its last lines, or how it ended.
std::string ReasonOf(const ChildEnd& end, const std::string& log) {
    if (end.signal != 0)
        return fmt::format("ended by signal {}, {}", end.signal, strsignal(end.signal));
    // The line before is often the cause, such as that of a driver whose host then misses points.
    std::string reason;
    for (const std::string& line : LastLines(log, 2))
        if (!line.starts_with(kLogBegin)) reason.append(reason.empty() ? "" : "; ").append(line);
    if (reason.empty()) return fmt::format("ended with status {} and without a word", end.status);
    return reason;
}

/// The bytes must be on disk before the record says so, or a power cut makes a liar of it.
void Store(const std::string& made, const std::string& output, const Claim& claim) {
    const int descriptor = OpenFile(made.c_str(), O_RDONLY | O_NONBLOCK);
    if (descriptor < 0) FailWithErrno(output);
    if (!StampOf(made)) {
        ::close(descriptor);
        throw Failure(output + ": the command has made something else than a file");
    }
    const int status = ::fdatasync(descriptor);
    const int error = errno;
    ::close(descriptor);
    if (status != 0) FailWithErrno(output, error);
    if (!claim.IsHeld()) throw Failure(kLost);
    if (::rename(made.c_str(), output.c_str()) != 0) FailWithErrno(output);
}

void RefuseStop(const StopSignals& stop) {
    if (stop.Signal() != 0)
        throw Failure(
            fmt::format("stopped by signal {}, {}", stop.Signal(), strsignal(stop.Signal())));
}

/// What a task looks after while it waits: its claim, its limit of time, and signals.
class Watch {
public:
    Watch(int seconds, Claim& claim, StopSignals* stop)
        : limit_(seconds), claim_(claim), stop_(*stop) {}

    /// Waits until the descriptor is readable, at most `pause`. A Failure: the task must stop.
    void Look(int descriptor, std::chrono::milliseconds pause) const {
        if (limit_.count() > 0)
            pause = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(limit_ - Passed()),
                               kNoPause, pause);
        stop_.Wait({&descriptor, 1}, pause);  // poll leaves descriptors below 0 out
        RefuseStop(stop_);
        if (limit_.count() > 0 && Passed() >= limit_)
            throw Failure(fmt::format("took longer than {} s", limit_.count()));
        if (!claim_.Renew()) throw Failure(kLost);
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::duration Passed() const { return Clock::now() - begin_; }

    const std::chrono::seconds limit_;
    const Clock::time_point begin_ = Clock::now();
    Claim& claim_;
    StopSignals& stop_;
};

class TaskRun {
public:
    TaskRun(const Job& job, const JobFolder& folder, const std::string& name)
        : job_(job),
          folder_(folder),
          frame_(TasksOf(job, folder, FrameIndexOf(job, name))),
          fresh_(job_, folder_, frame_) {
        const auto found = std::find_if(frame_.begin(), frame_.end(),
                                        [&](const Task& one) { return one.name == name; });
        if (found == frame_.end()) throw Failure(fmt::format("the job has no task \"{}\"", name));
        index_ = static_cast<std::size_t>(found - frame_.begin());
    }

    TaskResult Run(StopSignals* stop) {
        while (!fresh_.IsFresh(index_)) {
            const std::unique_ptr<Claim> claim = Claim::Take(folder_, Mine());
            if (!claim) {
                RefuseStop(*stop);
                stop->Wait({}, kPoll);
            } else if (!fresh_.IsFresh(index_) && RunClaimed(*claim, stop)) {
                RemoveUsed();
                return TaskResult::kMade;
            }
        }
        return TaskResult::kWasFresh;
    }

private:
    const Task& Mine() const { return frame_[index_]; }

    /// False: the claim was lost on the way, and another process has the task.
    bool RunClaimed(Claim& claim, StopSignals* stop) const {
        Record record;
        record.task = Mine().name;
        record.owner = ThisProcess();
        record.begun = Now();
        try {
            RequireInputs(&record);
            fresh_.Fill(index_, &record);
            Make(claim, &record, stop);
        } catch (const Failure& failure) {
            record.reason = failure.what();
            record.ended = Now();
            if (claim.End(record) || stop->Signal() != 0) throw;
            return false;
        }
        return claim.End(record);
    }

    /// Notes when the last of the needed tasks has ended; without any, when the job was written.
    void RequireInputs(Record* record) const {
        constexpr double kNanoseconds = 1e9;
        if (const auto job = StampOf(folder_.JobFile()))
            record->ready = static_cast<double>(job->written) / kNanoseconds;
        for (const std::size_t before : Mine().after) {
            if (!fresh_.IsFresh(before))
                throw Failure(fmt::format("needs {}, which is not done", frame_[before].name));
            const std::optional<Record> done = ReadRecord(folder_.Done(frame_[before].name));
            if (done) record->ready = std::max(record->ready, done->ended);
        }
    }

    void Make(Claim& claim, Record* record, StopSignals* stop) const {
        const Watch watch(job_.time_limit, claim, stop);
        const std::string& output = Mine().output;
        if (Mine().stage == Stage::kPublish) {
            Copy(frame_[Mine().after.front()].output, output, watch);
        } else {
            RunCommand(output, claim, watch, record);
        }
        record->ended = Now();
        record->output = StampOf(output).value_or(Stamp());
    }

    static void Copy(const std::string& from, const std::string& to, const Watch& watch) {
        std::string failure;
        MakeParent(to);
        if (!CopyFile(from, to, &failure, [&] { watch.Look(-1, kNoPause); }))
            throw Failure(failure);
    }

    void RunCommand(const std::string& output, Claim& claim, const Watch& watch,
                    Record* record) const {
        claim.MakeBeside();
        const std::string made =
            std::filesystem::path(claim.Beside()) / std::filesystem::path(output).filename();
        ChildRequest request;
        request.arguments = Arguments(job_, frame_, Mine(), made);
        request.environment = {"PCFARM_JOB=" + folder_.Path(), "PCFARM_TASK=" + Mine().name};
        request.folder = PlaceOf(job_.base);
        request.output = ChildRequest::Output::kAppended;
        request.output_file = folder_.Log(Mine().name);
        BeginLog(request.output_file, *record, request.arguments);

        ChildProcess child;
        if (!child.Start(request)) FailWithErrno(request.arguments[3]);
        std::optional<ChildEnd> end;
        try {
            while (!(end = child.Wait(kNoPause))) watch.Look(child.Descriptor(), kRenewal);
        } catch (const Failure&) {
            child.Stop(kCommandGrace);
            throw;
        }
        if (!end->IsSuccess()) throw Failure(ReasonOf(*end, request.output_file));
        Store(made, output, claim);
        record->user_seconds = end->user_seconds;
        record->system_seconds = end->system_seconds;
        record->peak_bytes = end->peak_bytes;
    }

    /// The record says that they have been used, so what cannot be removed does no harm.
    void RemoveUsed() const {
        if (job_.keep_work) return;
        std::error_code error;
        for (const std::size_t before : Mine().after)
            if (frame_[before].next) std::filesystem::remove(frame_[before].output, error);
    }

    const Job& job_;
    const JobFolder& folder_;
    const std::vector<Task> frame_;
    const Freshness fresh_;
    std::size_t index_ = 0;
};

}  // namespace

TaskResult RunTask(const Job& job, const JobFolder& folder, const std::string& name,
                   StopSignals* stop) {
    return TaskRun(job, folder, name).Run(stop);
}

}  // namespace farm
