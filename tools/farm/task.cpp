// Task: from a job's texts to commands.

#include "tools/farm/task.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "tools/common/failure.h"
#include "tools/common/number.h"
#include "tools/common/start.h"
#include "tools/farm/digest.h"
#include "tools/farm/frame_list.h"
#include "tools/farm/small_file.h"

namespace farm {

namespace {

/// Makes the tasks of one frame, one behind the other.
class FrameTasks {
public:
    FrameTasks(const Job& job, const JobFolder& folder, std::size_t index)
        : job_(job),
          folder_(folder),
          values_(job.values, job.frames[index], index),
          frame_(FrameName(job.frames[index])) {}

    std::vector<Task> Make() {
        AddBakes();
        if (job_.parts > 1 && job_.merge) AddCloudTask(Stage::kMerge, {"ptc", "merge"}, {});
        if (job_.organize) AddCloudTask(Stage::kOrganize, {"ptc", "organize"}, *job_.organize);
        if (job_.light) AddCloudTask(Stage::kLight, {"ptc", "light"}, *job_.light);
        FinishCloud();
        const std::string output = tasks_.back().output;
        const std::size_t cloud = tasks_.size() - 1;
        if (job_.picture) AddPicture(cloud);
        if (!job_.publish.empty()) {
            AddPublish("publish", cloud);
            if (job_.picture) AddPublish("publish_picture", cloud + 1);
        }
        return std::move(tasks_);
    }

private:
    std::string Absolute(const std::string& name) const { return PlaceIn(values_.FillIn(name)); }

    /// Where a file of the job is on this machine.
    std::string PlaceIn(const std::string& name) const {
        return PlaceOf((std::filesystem::path(job_.base) / name).lexically_normal());
    }

    Task& Add(const std::string& name, Stage stage, std::vector<std::string> command) {
        Task& task = tasks_.emplace_back();
        task.name = frame_ + "." + name;
        task.stage = stage;
        task.command = std::move(command);
        for (const std::string& input : job_.inputs) task.sources.push_back(Absolute(input));
        return task;
    }

    /// Appends the arguments. Those that name files are sources, too, whatever option they follow.
    void AddArguments(const std::vector<std::string>& arguments, Task* task) const {
        for (const std::string& argument : arguments) {
            task->command.push_back(values_.FillIn(argument));
            const std::string& filled = task->command.back();
            const std::size_t value = filled.starts_with("--") ? filled.find('=') + 1 : 0;
            const std::string file = PlaceIn(filled.substr(value));
            if (value < filled.size() && StampOf(file)) task->sources.push_back(file);
        }
    }

    /// Their arguments are looked up once: each may be a file, and there may be many parts.
    void AddBakes() {
        Task bake = std::move(Add("bake", Stage::kBake, {"pcbake"}));
        tasks_.clear();
        AddArguments(job_.bake, &bake);
        sources_ = bake.sources;
        for (int part = 1; part <= job_.parts; ++part) {
            Task& task = tasks_.emplace_back(bake);
            task.name += fmt::format(".{}", part);
            if (job_.parts > 1)
                task.command.insert(task.command.end(),
                                    {"--part", fmt::format("{}/{}", part, job_.parts)});
            task.output = folder_.Work(task.name + ".ptc");
            clouds_.push_back(tasks_.size() - 1);
        }
    }

    /// The bakes of a frame differ in the number of their part alone.
    std::string HistoryOf(const std::vector<std::size_t>& clouds) const {
        const Task& first = tasks_[clouds.front()];
        Digest digest;
        digest.Add(first.history);
        for (const std::string& argument : first.command) digest.Add(argument);
        digest.AddNumber(static_cast<std::int64_t>(clouds.size()));
        return digest.Text();
    }

    /// A command that makes one cloud of those that the tasks so far have made. Their sources and
    /// their commands are its own as well, for the clouds may be gone when it is asked whether it
    /// is fresh.
    void AddCloudTask(Stage stage, std::vector<std::string> command,
                      const std::vector<std::string>& arguments) {
        Task& task = Add(StageName(stage), stage, std::move(command));
        task.sources = sources_;
        task.history = HistoryOf(clouds_);
        AddArguments(arguments, &task);
        sources_ = task.sources;
        for (const std::size_t cloud : clouds_) tasks_[cloud].next = tasks_.size() - 1;
        task.after = clouds_;
        task.output = folder_.Work(task.name + ".ptc");
        clouds_ = {tasks_.size() - 1};
    }

    /// The last cloud is what the user wants.
    void FinishCloud() { tasks_.back().output = Absolute(job_.output); }

    void AddPicture(std::size_t cloud) {
        Task& task = Add("picture", Stage::kPicture, {"ptc", "view"});
        AddArguments(*job_.picture, &task);
        task.after = {cloud};
        task.output = Absolute(job_.pictures);
    }

    void AddPublish(const std::string& name, std::size_t made) {
        const std::string from = tasks_[made].output;
        Task& task = Add(name, Stage::kPublish, {});
        task.sources.clear();
        task.after = {made};
        task.output =
            Absolute(job_.publish) + "/" + std::filesystem::path(from).filename().string();
    }

    const Job& job_;
    const JobFolder& folder_;
    const FrameValues values_;
    const std::string frame_;
    std::vector<Task> tasks_;
    std::vector<std::string> sources_;  ///< files that the clouds so far were made of
    std::vector<std::size_t> clouds_;   ///< tasks whose outputs the next one takes
};

}  // namespace

const char* StageName(Stage stage) {
    switch (stage) {
        case Stage::kBake:
            return "bake";
        case Stage::kMerge:
            return "merge";
        case Stage::kOrganize:
            return "organize";
        case Stage::kLight:
            return "light";
        case Stage::kPicture:
            return "picture";
        case Stage::kPublish:
            return "publish";
    }
    return "";
}

std::vector<Task> TasksOf(const Job& job, const JobFolder& folder, std::size_t frame_index) {
    return FrameTasks(job, folder, frame_index).Make();
}

std::size_t TasksPerFrame(const Job& job) {
    const auto one_if = [](bool is_there) { return std::size_t{is_there ? 1U : 0U}; };
    return static_cast<std::size_t>(job.parts) + one_if(job.parts > 1 && job.merge) +
           one_if(job.organize.has_value()) + one_if(job.light.has_value()) +
           one_if(job.picture.has_value()) + one_if(!job.publish.empty()) +
           one_if(!job.publish.empty() && job.picture.has_value());
}

std::size_t FrameIndexOf(const Job& job, const std::string& task) {
    const std::string frame = task.substr(0, task.find('.'));
    int number = -1;
    (void)ParseNumber(frame, &number);
    const auto found = FrameName(number) == frame
                           ? std::find(job.frames.begin(), job.frames.end(), number)
                           : job.frames.end();
    if (found == job.frames.end())
        throw Failure(fmt::format("\"{}\" is of no frame of the job", task));
    return static_cast<std::size_t>(found - job.frames.begin());
}

}  // namespace farm
