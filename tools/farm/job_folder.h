// JobFolder: the folder that all machines of a farm share, and the names of the files in it.
//
//   job.json    the job as it runs
//   slurm       exists if tasks were handed to Slurm
//   work/       clouds on their way: parts, merged and organised ones
//   running/ done/ failed/   a record a task (tools/farm/record.h), in one of the three
//   logs/       what the commands of a task have printed, the latest attempt
//
// Units      none.
// Errors     a Failure with the file's name.
// Ownership  borrows nothing; the files stay.
// Threads    any, and any machine.

#pragma once

#include <string>

#include "tools/farm/job.h"

namespace farm {

class JobFolder {
public:
    /// `name`: on this machine.
    explicit JobFolder(const std::string& name);

    /// The folder of `name`, which is a job file or such a folder.
    static JobFolder Of(const std::string& name);

    /// Absolute, and as it is named on this machine.
    const std::string& Path() const { return path_; }

    std::string JobFile() const { return path_ + "/job.json"; }
    std::string SlurmMark() const { return path_ + "/slurm"; }
    std::string Work(const std::string& file) const { return path_ + "/work/" + file; }
    std::string Running(const std::string& task) const { return path_ + "/running/" + task; }
    std::string Done(const std::string& task) const { return path_ + "/done/" + task; }
    std::string Failed(const std::string& task) const { return path_ + "/failed/" + task; }
    std::string Log(const std::string& task) const { return path_ + "/logs/" + task + ".log"; }

    /// Makes the folders, and writes the job unless it is the one that is there. A Failure if
    /// another job's tasks run.
    void Begin(const Job& job) const;

    Job ReadStoredJob() const;

    void MarkSlurm() const;

    /// What a file's modification time would be if it were written now, in nanoseconds: the clock
    /// of the folder's file system, which all machines share. This machine's clock if it cannot be
    /// written, as for who only looks on.
    std::int64_t FolderTime() const;

private:
    void RefuseWhileRunning() const;

    std::string path_;
};

}  // namespace farm
