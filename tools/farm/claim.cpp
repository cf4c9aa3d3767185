// Claim: making the record, and moving it.

#include "tools/farm/claim.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "tools/common/failure.h"
#include "tools/farm/digest.h"
#include "util/io/open_file.h"
#include "util/io/owned_descriptor.h"

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
/// because network file systems otherwise answer with times that they remember. A time far ahead
/// was written before the clock was set back: its owner would have renewed it since.
bool WasRenewed(const JobFolder& folder, const std::string& file) {
    const OwnedDescriptor claim(OpenFile(file.c_str(), O_RDONLY | O_NONBLOCK));
    struct stat info {};
    if (!claim.IsOpen()) return false;
    if (::fstat(claim.Number(), &info) != 0) return true;
    const std::int64_t renewed = info.st_mtim.tv_sec * kNanoseconds + info.st_mtim.tv_nsec;
    const std::int64_t age = folder.FolderTime() - renewed;
    return std::abs(age) < std::chrono::seconds(kVoidSeconds).count() * kNanoseconds;
}

/// Opens a claim to look whether it is void. Locks need a file that may be written; one that may
/// not is looked at without.
OwnedDescriptor OpenOther(const std::string& file) {
    constexpr int kHow = O_NONBLOCK | O_NOFOLLOW;
    OwnedDescriptor other(OpenFile(file.c_str(), O_RDWR | kHow));
    if (!other.IsOpen() && errno != ENOENT) other.Reset(OpenFile(file.c_str(), O_RDONLY | kHow));
    struct stat info {};
    if (!other.IsOpen() && errno != ENOENT) FailWithErrno(file);
    if (other.IsOpen() && ::fstat(other.Number(), &info) == 0 && !S_ISREG(info.st_mode))
        throw Failure(file + ": is not a claim of a task: not a regular file");
    return other;
}

/// Whether the name still leads to the file that was opened. What cannot be told is taken for yes.
bool IsStill(int descriptor, const std::string& file) {
    struct stat mine {};
    struct stat named {};
    if (::lstat(file.c_str(), &named) != 0) return errno != ENOENT;
    return ::fstat(descriptor, &mine) != 0 ||
           (mine.st_dev == named.st_dev && mine.st_ino == named.st_ino);
}

}  // namespace

void MakeParent(const std::string& file) {
    std::error_code error;
    const auto folder = std::filesystem::path(file).parent_path();
    std::filesystem::create_directories(folder, error);
    if (error) FailWithErrno(folder, error.value());
}

bool IsLive(const JobFolder& folder, const std::string& file, const Record& claim) {
    switch (LifeOf(claim.owner)) {
        case Life::kLives:
            return true;
        case Life::kIsDead:
            return false;
        case Life::kUnknown:
            return WasRenewed(folder, file);
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
    return std::filesystem::path(task.output).parent_path() /
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
        const OwnedDescriptor other = OpenOther(file);
        if (!other.IsOpen()) continue;
        // Of all who see that a claim is void, one removes it, and none removes the next one.
        if (::flock(other.Number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return nullptr;
        if (!IsStill(other.Number(), file)) continue;
        const std::optional<Record> record = ReadRecord(file);
        // A claim that is being made or rewritten cannot be read for a moment.
        if (record ? IsLive(folder, file, *record) : WasRenewed(folder, file)) return nullptr;
        if (record) Sweep(task, *record);
        if (::unlink(file.c_str()) != 0 && errno != ENOENT) FailWithErrno(file);
    }
    return nullptr;
}

bool Claim::Hold() const {
    while (::flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) continue;
    return IsHeld();
}

bool Claim::IsHeld() const {
    return IsStill(descriptor_, folder_.Running(task_));
}

Claim::~Claim() {
    if (!has_ended_) {
        std::error_code error;
        std::filesystem::remove_all(beside_, error);
        if (Hold()) ::unlink(folder_.Running(task_).c_str());
    }
    if (descriptor_ >= 0) ::close(descriptor_);
}

void Claim::MakeBeside() {
    MakeParent(beside_);
    if (::mkdir(beside_.c_str(), kAllForAll) != 0) FailWithErrno(beside_);
}

bool Claim::Renew() {
    (void)::futimens(descriptor_, nullptr);
    return IsHeld();
}

bool Claim::End(const Record& record) {
    std::error_code error;
    std::filesystem::remove_all(beside_, error);
    const std::string claimed = folder_.Running(task_);
    const bool has_failed = !record.reason.empty();
    const std::string other = has_failed ? folder_.Done(task_) : folder_.Failed(task_);
    const std::string ended = has_failed ? folder_.Failed(task_) : folder_.Done(task_);
    if (!WriteAt(descriptor_, RecordText(record))) FailWithErrno(claimed);
    const bool is_held = Hold();
    if (is_held && ::rename(claimed.c_str(), ended.c_str()) != 0) FailWithErrno(claimed);
    has_ended_ = true;
    if (is_held) ::unlink(other.c_str());
    return is_held;
}

}  // namespace farm
