// Job: what a farm makes, as a job file says it.
//
// Units      frames and parts are counted; seconds.
// Errors     a Failure that names the file, the key and what is wrong with it.
// Ownership  a value.
// Threads    a job does not change once read.
//
// docs/farm.md describes the file, key by key. Names of files in a job are as they were written:
// relative ones begin at `base`, and all may be names of another zone. Only who opens a file maps
// its name.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/farm/frame_values.h"

namespace farm {

/// Arguments of one stage's command; nothing: the job does without the stage.
using StageArguments = std::optional<std::vector<std::string>>;

struct Job {
    std::string base;  ///< the folder where commands start, absolute
    std::vector<int> frames;
    int parts = 1;  ///< that a frame is baked in
    Series values;

    std::vector<std::string> bake;
    bool merge = true;  ///< false: the parts are organised without merging them first
    StageArguments organize;
    StageArguments light;
    StageArguments picture;
    std::string output;    ///< the cloud of a frame
    std::string pictures;  ///< the picture of a frame
    std::string publish;   ///< a folder for copies of both; empty: none

    std::vector<std::string> inputs;    ///< files that the commands read besides their arguments
    bool keep_work = true;              ///< of clouds that have become a part of others
    int time_limit = 0;                 ///< of a task; 0: none
    std::vector<std::string> programs;  ///< folders with pcbake and ptc
    std::string report;                 ///< HOST:PORT of a monitor; empty: none
    std::vector<std::string> slurm;     ///< options for sbatch

    bool operator==(const Job&) const = default;
};

/// The parts of a frame are named in one command, whose length the system limits.
inline constexpr int kMostParts = 10'000;

/// Reads a job file. A missing "base" is the file's folder. Whether two frames make the same file
/// is left to CheckJob(): it takes long with many frames, and tasks read the job again and again.
Job ReadJob(const std::string& file);

/// Throws a Failure for what no job can have. `name`: of the file or the options.
void CheckJob(const Job& job, const std::string& name);

/// The job as a file's text. A Failure if it holds bytes that are not UTF-8.
std::string JobText(const Job& job);

}  // namespace farm
