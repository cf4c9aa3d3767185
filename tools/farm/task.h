// Task: one command of a job, with what it reads and what it makes.
//
// Units      none.
// Errors     a Failure about the job's texts.
// Ownership  values. Names of files are those of this machine, in commands those of the job.
// Threads    any.
//
// The tasks of a frame depend on each other alone:
//
//   FRAME.bake.1 ... FRAME.bake.N -> FRAME.merge -> FRAME.organize -> FRAME.light -> FRAME.picture
//
// where stages that the job does without are left out, and FRAME.publish and FRAME.publish_picture
// copy what is done.

#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tools/farm/job.h"
#include "tools/farm/job_folder.h"

namespace farm {

enum class Stage { kBake, kMerge, kOrganize, kLight, kPicture, kPublish };

inline constexpr std::array kStages = {Stage::kBake,  Stage::kMerge,   Stage::kOrganize,
                                       Stage::kLight, Stage::kPicture, Stage::kPublish};

const char* StageName(Stage stage);

struct Task {
    std::string name;
    Stage stage;
    /// A program of ours by its bare name, and its arguments without the names of what the task
    /// makes and of what it reads of tasks before it. The same on all machines. Empty: a copy.
    std::vector<std::string> command;
    std::string
        history;  ///< digest of the commands that made what it reads: the clouds may be gone
    std::vector<std::string> sources;  ///< files that it or a task before it reads, made by no task
    std::string output;
    std::vector<std::size_t> after;   ///< tasks of the frame that must be done first: their outputs
                                      ///< are read
    std::optional<std::size_t> next;  ///< the only task that reads the output, which is not wanted
                                      ///< otherwise; nothing: the user wants it
};

/// A frame's tasks; each comes after those that it needs.
std::vector<Task> TasksOf(const Job& job, const JobFolder& folder, std::size_t frame_index);

/// How many tasks each frame has.
std::size_t TasksPerFrame(const Job& job);

/// The index among the job's frames that the task's name begins with. A Failure: there is no such
/// frame.
std::size_t FrameIndexOf(const Job& job, const std::string& task);

}  // namespace farm
