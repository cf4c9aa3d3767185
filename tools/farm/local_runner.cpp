// Local runner: frames are opened one after the other, as processes become free.

#include "tools/farm/local_runner.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <memory>
#include <optional>

#include "tools/common/failure.h"
#include "tools/common/progress.h"
#include "tools/common/standard_streams.h"
#include "tools/farm/freshness.h"
#include "tools/farm/programs.h"
#include "tools/farm/task.h"
#include "util/host/child_process.h"

namespace farm {

namespace {

constexpr std::chrono::seconds kTaskGrace{5};
constexpr std::chrono::seconds kLongPause{3600};

enum class State { kWaiting, kRunning, kDone, kFailed };

/// The tasks of one frame, and how far they are.
class OpenFrame {
public:
    OpenFrame(const Job& job, const JobFolder& folder, std::size_t index)
        : tasks_(TasksOf(job, folder, index)), states_(tasks_.size(), State::kWaiting) {
        const Freshness fresh(job, folder, tasks_);
        for (std::size_t i = 0; i < tasks_.size(); ++i)
            if (IsReady(i) && fresh.IsFresh(i)) states_[i] = State::kDone;
        were_fresh_ = Count(State::kDone);
    }

    /// The first task that may start.
    std::optional<std::size_t> Next() {
        while (first_ < tasks_.size() && states_[first_] != State::kWaiting) ++first_;
        for (std::size_t i = first_; i < tasks_.size(); ++i)
            if (states_[i] == State::kWaiting && IsReady(i)) return i;
        return std::nullopt;
    }

    /// Whether none runs and none may start.
    bool IsOver() { return Count(State::kRunning) == 0 && !Next(); }

    const std::string& Name(std::size_t task) const { return tasks_[task].name; }
    void Set(std::size_t task, State state) { states_[task] = state; }
    std::uint64_t WereFresh() const { return were_fresh_; }
    std::uint64_t Count(State state) const {
        return static_cast<std::uint64_t>(std::count(states_.begin(), states_.end(), state));
    }

private:
    bool IsReady(std::size_t task) const {
        return std::all_of(tasks_[task].after.begin(), tasks_[task].after.end(),
                           [&](std::size_t before) { return states_[before] == State::kDone; });
    }

    const std::vector<Task> tasks_;
    std::vector<State> states_;
    std::uint64_t were_fresh_ = 0;
    std::size_t first_ = 0;  ///< all before it are not waiting
};

struct RunningTask {
    OpenFrame* frame;
    std::size_t task;
    ChildProcess process;
};

class Runner {
public:
    Runner(const Job& job, const JobFolder& folder, int processes, bool is_quiet)
        : job_(job),
          folder_(folder),
          processes_(static_cast<std::size_t>(processes)),
          program_(OwnProgram()),
          progress_(job.frames.size() * TasksPerFrame(job), !is_quiet) {}

    LocalOutcome Run(StopSignals* stop) {
        while (stop->Signal() == 0) {
            while (running_.size() < processes_ && StartOne()) continue;
            if (running_.empty()) break;
            std::vector<int> descriptors;
            for (const auto& one : running_) descriptors.push_back(one->process.Descriptor());
            stop->Wait(descriptors, kLongPause);
            TakeEnded();
        }
        outcome_.was_stopped = stop->Signal() != 0;
        if (outcome_.was_stopped) StopAll();
        while (!frames_.empty()) CloseFrame(frames_.begin());
        outcome_.not_started += (job_.frames.size() - opened_) * TasksPerFrame(job_);
        return outcome_;
    }

private:
    /// False: nothing may start now.
    bool StartOne() {
        for (auto frame = frames_.begin(); frame != frames_.end();) {
            if (const auto task = (*frame)->Next()) return Start(**frame, *task);
            const auto next = std::next(frame);
            if ((*frame)->IsOver()) CloseFrame(frame);
            frame = next;
        }
        if (opened_ == job_.frames.size()) return false;
        frames_.push_back(std::make_unique<OpenFrame>(job_, folder_, opened_++));
        outcome_.were_fresh += frames_.back()->WereFresh();
        Show();
        return true;
    }

    bool Start(OpenFrame& frame, std::size_t task) {
        auto one = std::make_unique<RunningTask>();
        one->frame = &frame;
        one->task = task;
        ChildRequest request;
        request.arguments = {program_,       "task",
                             "--tied",       fmt::format("{}", ::getpid()),
                             folder_.Path(), frame.Name(task)};
        if (!one->process.Start(request)) {
            // What the system lacks is there again when another task has ended.
            if (running_.empty()) FailWithErrno(program_);
            return false;
        }
        frame.Set(task, State::kRunning);
        running_.push_back(std::move(one));
        return true;
    }

    void TakeEnded() {
        std::erase_if(running_, [&](const std::unique_ptr<RunningTask>& one) {
            const auto end = one->process.Wait(std::chrono::milliseconds(0));
            if (!end) return false;
            // The task has said itself why it failed, unless it could not.
            if (end->signal != 0)
                Tell("pcfarm", fmt::format("{}: ended by signal {}", one->frame->Name(one->task),
                                           end->signal));
            one->frame->Set(one->task, end->IsSuccess() ? State::kDone : State::kFailed);
            ++(end->IsSuccess() ? outcome_.made : outcome_.failed);
            Show();
            return true;
        });
    }

    /// Asks all at once, so that they end together.
    void StopAll() {
        for (const auto& one : running_) (void)::kill(one->process.Process(), SIGTERM);
        for (const auto& one : running_) {
            one->process.Stop(kTaskGrace);
            one->frame->Set(one->task, State::kFailed);
            ++outcome_.failed;
        }
        running_.clear();
    }

    void CloseFrame(std::list<std::unique_ptr<OpenFrame>>::iterator frame) {
        outcome_.not_started += (*frame)->Count(State::kWaiting);
        frames_.erase(frame);
    }

    void Show() { progress_.Show(outcome_.made + outcome_.were_fresh + outcome_.failed); }

    const Job& job_;
    const JobFolder& folder_;
    const std::size_t processes_;
    const std::string program_;
    std::size_t opened_ = 0;  ///< frames so far
    std::list<std::unique_ptr<OpenFrame>> frames_;
    std::vector<std::unique_ptr<RunningTask>> running_;
    LocalOutcome outcome_;
    Progress progress_;
};

}  // namespace

LocalOutcome RunLocally(const Job& job, const JobFolder& folder, int processes, bool is_quiet,
                        StopSignals* stop) {
    return Runner(job, folder, processes, is_quiet).Run(stop);
}

}  // namespace farm
