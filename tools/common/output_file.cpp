// OutputFile: collecting beside the name, and taking the name at the end.

#include "tools/common/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "tools/common/failure.h"

namespace {

constexpr mode_t kReadWriteForAll = 0666;  // what the user's mask leaves of it
constexpr mode_t kPermissions = 07777;
constexpr int kAttempts = 100;  // names beside the file that others may hold

constexpr int kMostLinks = 40;  // as many as the system follows

/// Where `name` leads, whether or not there is a file: a link to nothing names the file to be.
std::string Followed(const std::string& name) {
    std::filesystem::path path = name;
    std::error_code error;
    for (int links = 0; std::filesystem::is_symlink(path, error); ++links) {
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (links == kMostLinks)
            error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
        if (error) throw Failure(name + ": " + error.message());
        path = path.parent_path() / target;  // the target alone, where that begins at the root
    }
    return path;
}

}  // namespace

OutputFile::OutputFile(const std::string& name)
    : name_(name == "-" ? "standard output" : name),
      target_(name),
      is_standard_output_(name == "-") {
    struct stat info;
    const bool is_there = !is_standard_output_ && ::stat(name.c_str(), &info) == 0;
    if (is_there && S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        FailWithErrno(name_);
    }
    if (is_standard_output_ || (is_there && !S_ISREG(info.st_mode))) {
        spool_ = std::make_unique<Spool>();
        path_ = spool_->Path();
        return;
    }
    target_ = Followed(name);
    OpenBeside();
    // Renaming would otherwise change who may read the file.
    if (is_there) (void)::fchmod(descriptor_, info.st_mode & kPermissions);
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!beside_.empty()) ::unlink(beside_.c_str());
}

std::string OutputFile::BesideName(int attempt) const {
    const std::string name =
        ".ptc-" + std::to_string(::getpid()) + "-" + std::to_string(attempt) + ".part";
    return std::filesystem::path(target_).parent_path() / name;
}

/// In the folder of the file to be, because only within one file system is renaming all or nothing.
void OutputFile::OpenBeside() {
    const std::string folder = std::filesystem::path(target_).parent_path();
    descriptor_ = ::open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC,
                         kReadWriteForAll);
    if (descriptor_ >= 0) {
        path_ = "/proc/self/fd/" + std::to_string(descriptor_);
        return;
    }
    // Not every file system can make a file without a name.
    for (int attempt = 0; descriptor_ < 0 && attempt < kAttempts; ++attempt) {
        path_ = BesideName(attempt);
        descriptor_ =
            ::open(path_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, kReadWriteForAll);
        if (descriptor_ < 0 && errno != EEXIST) break;
    }
    if (descriptor_ < 0) FailWithErrno(name_);
    beside_ = path_;
}

void OutputFile::Commit() {
    if (spool_) {
        CopyOut();
    } else {
        StoreIt();
        NameIt();
    }
}

/// A device or a pipe cannot be replaced. It gets all bytes, or none when the run fails earlier.
void OutputFile::CopyOut() {
    if (::lseek(spool_->Descriptor(), 0, SEEK_SET) < 0) FailWithErrno("temporary file");
    if (is_standard_output_) {
        if (std::fflush(stdout) != 0) FailWithErrno(name_);
        CopyDescriptor(spool_->Descriptor(), "temporary file", STDOUT_FILENO, name_);
        return;
    }
    const int out = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    if (out < 0) FailWithErrno(name_);
    try {
        CopyDescriptor(spool_->Descriptor(), "temporary file", out, name_);
    } catch (const Failure&) {
        ::close(out);
        throw;
    }
    if (::close(out) != 0) FailWithErrno(name_);
}

/// The system may otherwise store the name before the bytes. Some write errors also appear only
/// here.
void OutputFile::StoreIt() {
    while (::fsync(descriptor_) != 0)
        if (errno != EINTR) FailWithErrno(name_);
}

void OutputFile::NameIt() {
    // A file without a name cannot take one that exists: it gets a temporary name first.
    for (int attempt = 0; beside_.empty() && attempt < kAttempts; ++attempt) {
        const std::string name = BesideName(attempt);
        if (::linkat(AT_FDCWD, path_.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            beside_ = name;
        } else if (errno != EEXIST) {
            break;
        }
    }
    if (beside_.empty() || ::rename(beside_.c_str(), target_.c_str()) != 0) FailWithErrno(name_);
    beside_.clear();
}
