// JobFolder: making it, and the job in it.

#include "tools/farm/job_folder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/farm/record.h"
#include "util/io/open_file.h"

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
        if (record && LifeOf(record->owner) != Life::kIsDead)
            throw Failure(
                fmt::format("{}: the job has changed, but {} of the earlier one runs on {}", path_,
                            record->task, record->owner.host));
    }
}

void JobFolder::Begin(const Job& job) const {
    for (const char* const folder : {"work", "running", "done", "failed", "logs"})
        MakeFolder(path_ + "/" + folder);
    std::error_code error;
    if (std::filesystem::exists(JobFile(), error)) {
        if (ReadJob(JobFile()) == job) return;
        RefuseWhileRunning();
    }
    OutputFile file(JobFile());
    std::ofstream stream(file.Path());
    stream << JobText(job);
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
    const std::string file = path_ + "/running/.time";
    const int descriptor = OpenFile(file.c_str(), O_WRONLY | O_CREAT, kShared);
    if (descriptor < 0) FailWithErrno(file);
    const int status = ::futimens(descriptor, nullptr);
    const int error = errno;
    ::close(descriptor);
    const std::optional<Stamp> stamp = StampOf(file);
    ::unlink(file.c_str());
    if (status != 0 || !stamp) FailWithErrno(file, error);
    return stamp->written;
}

}  // namespace farm
