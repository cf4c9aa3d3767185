// Task list: the lines, and quoting.

#include "tools/farm/task_list.h"

#include <fmt/format.h>

#include "tools/common/standard_streams.h"
#include "tools/farm/freshness.h"
#include "tools/farm/programs.h"
#include "tools/farm/task.h"

namespace farm {

std::string ShellWord(const std::string& text) {
    constexpr const char* kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+,-./:=@_";
    if (!text.empty() && text.find_first_not_of(kPlain) == text.npos) return text;
    std::string word = "'";
    for (const char one : text) word += one == '\'' ? std::string("'\\''") : std::string(1, one);
    return word + "'";
}

void PrintTasks(const Job& job, const JobFolder& folder) {
    const std::string program = ShellWord(OwnProgram());
    for (std::size_t frame = 0; frame < job.frames.size(); ++frame) {
        const std::vector<Task> tasks = TasksOf(job, folder, frame);
        const Freshness fresh(job, folder, tasks);
        std::vector<bool> is_listed(tasks.size());
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            std::string after;
            for (const std::size_t before : tasks[i].after)
                if (is_listed[before]) after += " " + tasks[before].name;
            is_listed[i] = !after.empty() || !fresh.IsFresh(i);
            if (!is_listed[i]) continue;
            WriteOut(fmt::format("{} task {} {}{}\n", program, ShellWord(folder.Path()),
                                 tasks[i].name, after.empty() ? "" : " # after" + after));
        }
    }
}

}  // namespace farm
