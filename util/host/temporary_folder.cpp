// TemporaryFolder: making, locking, and sweeping what the dead have left.
//
// The lock file goes last, only the folder itself after it: what a killed removal leaves is swept
// like the rest. A maker and a sweeper that meet between the making of the file and its lock settle
// it by the lock: whoever gets it first has the folder, and a maker who is second makes another
// one.

#include "util/host/temporary_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "util/base/ascii.h"
#include "util/host/remove_tree.h"
#include "util/io/close_directory.h"
#include "util/io/open_file.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kLockName = ".lock";
constexpr std::string_view kAnyName = "XXXXXX";
constexpr int kAttempts = 10;
constexpr std::chrono::milliseconds kForSweeping{200};
constexpr std::time_t kHour = 3600;
constexpr mode_t kOfOthers = 077;
constexpr mode_t kForUs = 0600;

std::string Parent() {
    const char* const wanted = std::getenv("TMPDIR");
    const std::filesystem::path parent = wanted && *wanted ? wanted : "/tmp";
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(parent, error);
    return (error ? parent : whole).string();
}

/// What the names of this machine's folders begin with. Another machine that shares the folder may
/// have locks that this one does not see.
std::string Prefix() {
    utsname names{};
    (void)::uname(&names);
    std::string machine = names.nodename;
    for (char& c : machine)
        if (!IsAsciiLetter(c) && !IsAsciiDigit(c)) c = '-';
    return "ptc-tmp." + machine + ".";
}

/// False: another process has it.
bool Lock(int descriptor) {
    int result = 0;
    do {
        result = ::flock(descriptor, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool IsOurs(int descriptor, struct stat* info) {
    return ::fstat(descriptor, info) == 0 && info->st_uid == ::geteuid();
}

/// Removes the folder `name` if its maker is dead.
void SweepOne(int parent, const char* name, Clock::time_point deadline) {
    const OwnedDescriptor folder(
        ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (!folder.IsOpen() || !IsOurs(folder.Number(), &info) || (info.st_mode & kOfOthers) != 0)
        return;
    const std::time_t changed = info.st_mtime;
    const OwnedDescriptor lock(
        ::openat(folder.Number(), kLockName, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!lock.IsOpen()) {
        // It is being made, or was being made or removed when its process died. Then it is empty.
        if (errno == ENOENT && std::time(nullptr) - changed > kHour)
            (void)::unlinkat(parent, name, AT_REMOVEDIR);
        return;
    }
    if (!IsOurs(lock.Number(), &info) || !S_ISREG(info.st_mode) || !Lock(lock.Number())) return;
    if (!RemoveContents(folder.Number(), kLockName, deadline)) return;
    (void)::unlinkat(folder.Number(), kLockName, 0);
    (void)::unlinkat(parent, name, AT_REMOVEDIR);
}

/// Locks the new folder `path`. False: a sweeper was faster. A file system without locks keeps
/// sweepers out, too.
bool LockNew(const std::string& path, OwnedDescriptor* lock) {
    const std::string name = path + "/" + kLockName;
    lock->Reset(OpenFile(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, kForUs));
    if (!lock->IsOpen()) return false;
    if (!Lock(lock->Number())) return errno != EWOULDBLOCK;
    struct stat info {};
    if (::fstat(lock->Number(), &info) == 0 && info.st_nlink > 0) return true;
    errno = EAGAIN;  // it was swept before the lock
    return false;
}

}  // namespace

bool TemporaryFolder::Make() {
    const std::string parent = Parent();
    SweepTemporaryFolders(parent, kForSweeping);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::string path = parent + "/" + Prefix() + std::string(kAnyName);
        failed_name_ = parent;
        if (!::mkdtemp(path.data())) return false;
        if (LockNew(path, &lock_)) {
            path_ = path;
            owner_ = ::getpid();
            return true;
        }
        const int error = errno;
        lock_.Reset();
        (void)::rmdir(path.c_str());
        errno = error;
    }
    return false;
}

void TemporaryFolder::Remove() {
    if (!path_.empty() && ::getpid() == owner_) {
        const OwnedDescriptor folder(
            ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (folder.IsOpen() &&
            RemoveContents(folder.Number(), kLockName, Clock::time_point::max())) {
            (void)::unlinkat(folder.Number(), kLockName, 0);
            (void)::rmdir(path_.c_str());
        }
    }
    path_.clear();
    lock_.Reset();
}

void SweepTemporaryFolders(const std::string& parent, std::chrono::milliseconds limit) {
    const Clock::time_point deadline = Clock::now() + limit;
    const std::string prefix = Prefix();
    const std::unique_ptr<DIR, CloseDirectory> entries(::opendir(parent.c_str()));
    while (entries && Clock::now() < deadline) {
        const dirent* const entry = ::readdir(entries.get());
        if (!entry) return;
        const std::string_view name = entry->d_name;
        if (name.starts_with(prefix) && name.size() == prefix.size() + kAnyName.size())
            SweepOne(::dirfd(entries.get()), entry->d_name, deadline);
    }
}
