// Freshness: whether what a task makes is there, whole, and newer than what it is made from.
//
// Units      none.
// Errors     none: what cannot be read is not fresh.
// Ownership  borrows everything.
// Threads    any.
//
// A task that succeeds stores the stamp of its output, and digests of its command and of the stamps
// that its inputs had before it began. It is fresh as long as these are the same: after a change
// of an input, of the job, or of the output itself it runs again.

#pragma once

#include <string>
#include <vector>

#include "tools/farm/record.h"
#include "tools/farm/task.h"

namespace farm {

class Freshness {
public:
    /// `frame`: all tasks of one frame.
    Freshness(const Job& job, const JobFolder& folder, const std::vector<Task>& frame)
        : job_(job), folder_(folder), frame_(frame) {}

    /// Whether task `index` needs not run: it is made, or it is gone because its next task has
    /// used it, which is made.
    bool IsFresh(std::size_t index) const;

    /// Stores in `*record` what the task is made from, as it is now.
    void Fill(std::size_t index, Record* record) const;

private:
    bool IsMade(const Task& task) const;
    bool MayBeGone(const Task& task) const;
    std::string MadeFrom(const Task& task) const;
    std::string MadeOf(const Task& task) const;
    std::string_view NameOf(std::string_view name) const;

    const Job& job_;
    const JobFolder& folder_;
    const std::vector<Task>& frame_;
};

}  // namespace farm
