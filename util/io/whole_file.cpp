// Collecting a file beside its name, and giving it the name.

#include "util/io/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "util/io/open_file.h"

namespace {

constexpr mode_t kReadWriteForAll = 0666;  // what the user's mask leaves of it
constexpr mode_t kPermissions = 07777;
constexpr int kAttempts = 100;  // names beside the file that others may hold
constexpr int kMostLinks = 40;  // as many as the system follows

/// Where `name` leads, whether or not there is a file: a link to nothing names the file to be.
bool Follow(const std::string& name, std::string* target) {
    std::filesystem::path path = name;
    std::error_code error;
    for (int links = 0; std::filesystem::is_symlink(path, error); ++links) {
        const std::filesystem::path next = std::filesystem::read_symlink(path, error);
        if (links == kMostLinks) error = {ELOOP, std::generic_category()};
        if (error) {
            errno = error.value();
            return false;
        }
        path = path.parent_path() / next;  // the target alone, if that begins at the root
    }
    *target = path;
    return true;
}

}  // namespace

WholeFile::~WholeFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!beside_.empty()) ::unlink(beside_.c_str());
}

bool WholeFile::Begin(const std::string& name) {
    if (!Follow(name, &target_) || !OpenBeside()) return false;
    struct stat info;
    // Renaming would otherwise change who may read the file.
    if (::stat(name.c_str(), &info) == 0) (void)::fchmod(descriptor_, info.st_mode & kPermissions);
    return true;
}

/// Unique in the folder: by the process, and among the files of the process.
std::string WholeFile::BesideName(int attempt) const {
    static constinit std::atomic<unsigned> made{0};
    const unsigned number =
        made.fetch_add(1, std::memory_order_relaxed) + static_cast<unsigned>(attempt);
    const std::string name =
        ".ptc-" + std::to_string(::getpid()) + "-" + std::to_string(number) + ".part";
    return std::filesystem::path(target_).parent_path() / name;
}

bool WholeFile::OpenBeside() {
    const std::string folder = std::filesystem::path(target_).parent_path();
    descriptor_ =
        OpenFile(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR, kReadWriteForAll);
    if (descriptor_ >= 0) {
        path_ = "/proc/self/fd/" + std::to_string(descriptor_);
        if (::access(path_.c_str(), W_OK) == 0) return true;
        ::close(descriptor_);  // without /proc nothing else leads to it
        descriptor_ = -1;
    }
    // Not every file system can make a file without a name.
    for (int attempt = 0; descriptor_ < 0 && attempt < kAttempts; ++attempt) {
        path_ = BesideName(attempt);
        descriptor_ = OpenFile(path_.c_str(), O_CREAT | O_EXCL | O_RDWR, kReadWriteForAll);
        if (descriptor_ < 0 && errno != EEXIST) break;
    }
    if (descriptor_ < 0) return false;
    beside_ = path_;
    return true;
}

bool WholeFile::Commit() {
    // The system may otherwise store the name before the bytes, and it may report only here that it
    // could not write all of them.
    while (::fsync(descriptor_) != 0)
        if (errno != EINTR) return false;
    if (beside_.empty() &&
        ::linkat(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), AT_SYMLINK_FOLLOW) == 0)
        return true;
    // A file without a name cannot take one that exists: it gets one of its own, then the final. A
    // process that is killed between the two leaves the name of its own.
    for (int attempt = 0; beside_.empty() && attempt < kAttempts; ++attempt) {
        std::string name = BesideName(attempt);
        if (::linkat(AT_FDCWD, path_.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            beside_ = std::move(name);
        } else if (errno != EEXIST) {
            return false;
        }
    }
    if (beside_.empty() || ::rename(beside_.c_str(), target_.c_str()) != 0) return false;
    beside_.clear();
    return true;
}
