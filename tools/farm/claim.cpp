// Claim: making the record, and moving it.

#include "tools/farm/claim.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tools/common/failure.h"
#include "tools/farm/digest.h"
#include "util/io/open_file.h"

namespace farm {

namespace {

constexpr mode_t kReadWriteForAll = 0666;  // what the user's mask leaves of it
constexpr mode_t kAllForAll = 0777;
constexpr std::int64_t kNanoseconds = 1'000'000'000;

bool WriteAt(int descriptor, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written =
            ::pwrite(descriptor, &text[done], text.size() - done, static_cast<off_t>(done));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

/// Whether the claim in `file` was renewed lately, by the clock of the file system. It is opened,
/// because network file systems otherwise answer with times that they remember.
bool WasRenewed(const JobFolder& folder, const std::string& file) {
    const int descriptor = OpenFile(file.c_str(), O_RDONLY);
    if (descriptor < 0) return false;
    struct stat info {};
    const bool is_known = ::fstat(descriptor, &info) == 0;
    ::close(descriptor);
    const std::int64_t renewed = info.st_mtim.tv_sec * kNanoseconds + info.st_mtim.tv_nsec;
    const std::int64_t age = is_known ? folder.FolderTime() - renewed : 0;
    return age < std::chrono::seconds(kVoidSeconds).count() * kNanoseconds;
}

}  // namespace

void MakeParent(const std::string& file) {
    std::error_code error;
    const auto folder = std::filesystem::path(file).parent_path();
    std::filesystem::create_directories(folder, error);
    if (error) FailWithErrno(folder, error.value());
}

bool IsLive(const JobFolder& folder, const Record& claim) {
    switch (LifeOf(claim.owner)) {
        case Life::kLives:
            return true;
        case Life::kIsDead:
            return false;
        case Life::kUnknown:
            return WasRenewed(folder, folder.Running(claim.task));
    }
    return false;
}

/// The name is computed and not read from a record, so that a damaged record removes nothing else.
std::string Claim::BesideOf(const Task& task, const ProcessName& owner) {
    Digest digest;
    digest.Add(owner.host);
    digest.Add(owner.kernel);
    digest.AddNumber(owner.process);
    digest.AddNumber(static_cast<std::int64_t>(owner.begin));
    return std::filesystem::path(Here(task.output)).parent_path() /
           fmt::format(".pcfarm-{}-{}", task.name, digest.Text());
}

void Claim::Sweep(const Task& task, const Record& dead) {
    std::error_code error;
    std::filesystem::remove_all(BesideOf(task, dead.owner), error);
}

Claim::Claim(const JobFolder& folder, const Task& task)
    : folder_(folder), task_(task.name), owner_(ThisProcess()), beside_(BesideOf(task, owner_)) {}

/// False: there is a claim.
bool Claim::Create() {
    const std::string file = folder_.Running(task_);
    descriptor_ = OpenFile(file.c_str(), O_WRONLY | O_CREAT | O_EXCL, kReadWriteForAll);
    if (descriptor_ < 0 && errno == EEXIST) return false;
    Record record;
    record.task = task_;
    record.owner = owner_;
    record.begun = Now();
    if (descriptor_ >= 0 && WriteAt(descriptor_, RecordText(record))) return true;
    const int error = errno;
    if (descriptor_ >= 0) ::unlink(file.c_str());
    has_ended_ = true;
    FailWithErrno(file, error);
}

std::unique_ptr<Claim> Claim::Take(const JobFolder& folder, const Task& task) {
    constexpr int kAttempts = 100;  // others may take and end the task meanwhile
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::unique_ptr<Claim> claim(new Claim(folder, task));
        if (claim->Create()) return claim;
        claim->has_ended_ = true;
        const std::string file = folder.Running(task.name);
        const std::optional<Record> other = ReadRecord(file);
        // A claim that is being made or rewritten cannot be read for a moment.
        if (other ? IsLive(folder, *other) : WasRenewed(folder, file)) return nullptr;
        if (other) Sweep(task, *other);
        ::unlink(file.c_str());
    }
    return nullptr;
}

Claim::~Claim() {
    if (!has_ended_) {
        std::error_code error;
        std::filesystem::remove_all(beside_, error);
        ::unlink(folder_.Running(task_).c_str());
    }
    if (descriptor_ >= 0) ::close(descriptor_);
}

void Claim::MakeBeside() {
    MakeParent(beside_);
    if (::mkdir(beside_.c_str(), kAllForAll) != 0) FailWithErrno(beside_);
}

void Claim::Renew() {
    (void)::futimens(descriptor_, nullptr);
}

void Claim::End(const Record& record) {
    std::error_code error;
    std::filesystem::remove_all(beside_, error);
    const std::string claimed = folder_.Running(task_);
    const bool has_failed = !record.reason.empty();
    const std::string other = has_failed ? folder_.Done(task_) : folder_.Failed(task_);
    const std::string ended = has_failed ? folder_.Failed(task_) : folder_.Done(task_);
    if (!WriteAt(descriptor_, RecordText(record))) FailWithErrno(claimed);
    // A claim that is gone was taken over by a process that thought this one dead; its record
    // counts.
    if (::rename(claimed.c_str(), ended.c_str()) != 0 && errno != ENOENT) FailWithErrno(claimed);
    has_ended_ = true;
    ::unlink(other.c_str());
}

}  // namespace farm
