// Programs: looking for a file that can be executed.

#include "tools/farm/programs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/parts.h"
#include "tools/farm/job_folder.h"
#include "tools/farm/small_file.h"

namespace farm {

std::string OwnProgram() {
    std::error_code error;
    const auto file = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) FailWithErrno("/proc/self/exe", error.value());
    return file;
}

std::string ProgramFile(const Job& job, const std::string& name) {
    if (name.find('/') != name.npos) return name;
    std::vector<std::filesystem::path> folders;
    for (const std::string& folder : job.programs)
        folders.push_back(std::filesystem::path(Here(job.base)) / Here(folder));
    folders.push_back(std::filesystem::path(OwnProgram()).parent_path());
    const char* const path = std::getenv("PATH");
    Parts parts(path ? path : "", ':');
    for (std::string_view part; parts.Next(&part);)
        if (part.starts_with('/')) folders.emplace_back(part);
    std::string tried;
    for (const auto& folder : folders) {
        std::string file = folder / name;
        if (StampOf(file) && ::access(file.c_str(), X_OK) == 0) return file;
        tried += fmt::format("{}{}", tried.empty() ? "" : ", ", folder.string());
    }
    throw Failure(fmt::format("cannot find {} in {}", name, tried));
}

}  // namespace farm
