// JobFolder: making it, and the job in it.

#include "tools/farm/job_folder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/farm/claim.h"
#include "util/io/open_file.h"
#include "util/io/owned_descriptor.h"

namespace farm {

namespace {

constexpr mode_t kShared = 0666;  // what the user's mask leaves of it

void MakeFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) FailWithErrno(path, error.value());
}

}  // namespace

JobFolder::JobFolder(const std::string& name) {
    std::filesystem::path path = std::filesystem::absolute(name).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();  // of "a/"
    path_ = path;
}

JobFolder JobFolder::Of(const std::string& name) {
    std::error_code error;
    if (std::filesystem::is_directory(name, error)) return JobFolder(name);
    return JobFolder(std::filesystem::path(name).replace_extension(".farm"));
}

void JobFolder::RefuseWhileRunning() const {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(path_ + "/running", error)) {
        const std::optional<Record> record = ReadRecord(entry.path());
        if (record && IsLive(*this, entry.path(), *record))
            throw Failure(
                fmt::format("{}: the job has changed, but {} of the earlier one runs on {}", path_,
                            record->task, record->owner.host));
    }
}

void JobFolder::Begin(const Job& job) const {
    const std::string text = JobText(job);
    for (const char* const folder : {"work", "running", "done", "failed", "logs"})
        MakeFolder(path_ + "/" + folder);
    std::error_code error;
    if (std::filesystem::exists(JobFile(), error)) {
        if (ReadJob(JobFile()) == job) return;
        RefuseWhileRunning();
    }
    OutputFile file(JobFile());
    std::ofstream stream(file.Path());
    stream << text;
    stream.close();
    if (!stream) FailWithErrno(JobFile());
    file.Commit();
}

Job JobFolder::ReadStoredJob() const {
    return ReadJob(JobFile());
}

void JobFolder::MarkSlurm() const {
    const int descriptor = OpenFile(SlurmMark().c_str(), O_WRONLY | O_CREAT, kShared);
    if (descriptor < 0) FailWithErrno(SlurmMark());
    ::close(descriptor);
}

std::int64_t JobFolder::FolderTime() const {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    const std::string file = path_ + "/running/.time";
    const OwnedDescriptor time(OpenFile(file.c_str(), O_WRONLY | O_CREAT, kShared));
    struct stat info {};
    // Asked by the descriptor: others use and remove the same file at the same time.
    const bool is_known = time.IsOpen() && ::futimens(time.Number(), nullptr) == 0 &&
                          ::fstat(time.Number(), &info) == 0;
    if (time.IsOpen()) ::unlink(file.c_str());
    if (is_known) return info.st_mtim.tv_sec * kNanoseconds + info.st_mtim.tv_nsec;
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace farm
