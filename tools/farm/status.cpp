// Status: reading the records, adding up, and the table.

#include "tools/farm/status.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/farm/claim.h"
#include "tools/farm/freshness.h"
#include "util/text/printable_text.h"

namespace farm {

namespace {

class Collector {
public:
    Collector(const Job& job, const JobFolder& folder, const QueuedTasks& queued)
        : job_(job), folder_(folder), queued_(queued) {}

    JobStatus Collect() {
        for (std::size_t frame = 0; frame < job_.frames.size(); ++frame) {
            const std::vector<Task> tasks = TasksOf(job_, folder_, frame);
            const Freshness fresh(job_, folder_, tasks);
            for (std::size_t i = 0; i < tasks.size(); ++i) Add(tasks[i], fresh.IsFresh(i));
        }
        return std::move(status_);
    }

private:
    void Add(const Task& task, bool is_fresh) {
        StageStatus& stage = status_.stages[static_cast<std::size_t>(task.stage)];
        const auto claim = ReadRecord(folder_.Running(task.name));
        if (claim && IsLive(folder_, folder_.Running(task.name), *claim)) {
            ++stage.running;
            ++status_.unfinished;
        } else if (is_fresh) {
            ++stage.done;
            AddCosts(task, &stage);
        } else if (queued_.contains(task.name)) {
            ++stage.queued;
            ++status_.unfinished;
        } else if (claim) {
            AddFailure(task.name, *claim, "its process has died", &stage);
        } else if (const auto failure = ReadRecord(folder_.Failed(task.name))) {
            AddFailure(task.name, *failure, failure->reason, &stage);
        } else {
            ++stage.waiting;
        }
    }

    void AddCosts(const Task& task, StageStatus* stage) {
        const auto done = ReadRecord(folder_.Done(task.name));
        if (!done) return;
        const double seconds = done->ended - done->begun;
        ++stage->measured;
        stage->seconds += seconds;
        stage->longest = std::max(stage->longest, seconds);
        stage->processor += done->user_seconds + done->system_seconds;
        stage->waited += std::max(0.0, done->begun - done->ready);
        stage->peak_bytes = std::max(stage->peak_bytes, done->peak_bytes);
        if (status_.first_begun == 0 || done->begun < status_.first_begun)
            status_.first_begun = done->begun;
        status_.last_ended = std::max(status_.last_ended, done->ended);
    }

    void AddFailure(const std::string& task, const Record& record, const std::string& why,
                    StageStatus* stage) {
        ++stage->failed;
        ++status_.failed;
        if (status_.failures.size() < kMostFailures)
            status_.failures.push_back(fmt::format("{} on {}: {}", task, record.owner.host, why));
    }

    const Job& job_;
    const JobFolder& folder_;
    const QueuedTasks& queued_;
    JobStatus status_;
};

bool IsEmpty(const StageStatus& stage) {
    return stage.done + stage.running + stage.queued + stage.failed + stage.waiting == 0;
}

}  // namespace

JobStatus StatusOf(const Job& job, const JobFolder& folder, const QueuedTasks& queued) {
    return Collector(job, folder, queued).Collect();
}

std::string StatusText(const JobStatus& status) {
    constexpr double kMegabyte = 1e6;
    std::string text = fmt::format("{:<9}{:>8}{:>8}{:>8}{:>8}{:>8}{:>10}{:>10}{:>11}{:>9}{:>9}\n",
                                   "stage", "done", "running", "queued", "failed", "waiting",
                                   "s a task", "longest", "processor", "waited", "MB");
    for (const Stage one : kStages) {
        const StageStatus& stage = status.stages[static_cast<std::size_t>(one)];
        if (IsEmpty(stage)) continue;
        const double tasks = static_cast<double>(std::max<std::uint64_t>(stage.measured, 1));
        text += fmt::format(
            "{:<9}{:>8}{:>8}{:>8}{:>8}{:>8}{:>10.2f}{:>10.2f}{:>11.2f}{:>9.2f}{:>9.0f}\n",
            StageName(one), stage.done, stage.running, stage.queued, stage.failed, stage.waiting,
            stage.seconds / tasks, stage.longest, stage.processor, stage.waited / tasks,
            static_cast<double>(stage.peak_bytes) / kMegabyte);
    }
    if (status.first_begun > 0)
        text += fmt::format("from the first begin to the last end {:.2f} s\n",
                            status.last_ended - status.first_begun);
    for (const std::string& failure : status.failures)
        text += fmt::format("failed: {}\n", Printable(failure));
    if (status.failed > status.failures.size())
        text += fmt::format("and {} more\n", status.failed - status.failures.size());
    return text;
}

std::string StatusJson(const JobStatus& status) {
    nlohmann::ordered_json json;
    json["stages"] = nlohmann::ordered_json::object();
    for (const Stage one : kStages) {
        const StageStatus& stage = status.stages[static_cast<std::size_t>(one)];
        if (IsEmpty(stage)) continue;
        json["stages"][StageName(one)] = {
            {"done", stage.done},
            {"running", stage.running},
            {"queued", stage.queued},
            {"failed", stage.failed},
            {"waiting", stage.waiting},
            {"seconds", stage.seconds},
            {"longest", stage.longest},
            {"processor_seconds", stage.processor},
            {"waited_seconds", stage.waited},
            {"peak_bytes", stage.peak_bytes},
        };
    }
    json["failed"] = status.failed;
    json["unfinished"] = status.unfinished;
    json["failures"] = status.failures;
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace farm
