// FreeBytes and LackOfSpace: the file system's own figures.

#include "util/io/free_space.h"

#include <linux/magic.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr long kXfsMagic = 0x58465342;  // not in the system's header

/// Whether a file of N bytes, none left out, takes N bytes here.
bool StoresEveryByte(const std::string& folder) {
    struct statfs info {};
    if (::statfs(folder.c_str(), &info) != 0) return false;
    const long stores[] = {EXT4_SUPER_MAGIC, kXfsMagic, TMPFS_MAGIC, MSDOS_SUPER_MAGIC};
    return std::find(std::begin(stores), std::end(stores), info.f_type) != std::end(stores);
}

/// The folder in which the bytes of `path` collect; empty: they go elsewhere, or nobody knows.
std::string FolderOf(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    fs::path target = path;
    if (status.type() == fs::file_type::regular)
        target = fs::canonical(path, error);
    else if (status.type() != fs::file_type::not_found || fs::is_symlink(path, error))
        return "";
    const std::string folder = target.parent_path().string();
    return folder.empty() ? "." : folder;
}

}  // namespace

std::optional<std::int64_t> FreeBytes(const std::string& folder) {
    struct statvfs info {};
    if (::statvfs(folder.c_str(), &info) != 0 || info.f_blocks == 0) return {};
    const std::uint64_t blocks = ::geteuid() == 0 ? info.f_bfree : info.f_bavail;
    const std::uint64_t block = std::max<std::uint64_t>(info.f_frsize, 1);
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(blocks > kMost / block ? kMost : blocks * block);
}

std::string LackOfSpace(const std::string& path, std::int64_t bytes) {
    const std::string folder = FolderOf(path);
    if (folder.empty() || !StoresEveryByte(folder)) return "";
    const std::optional<std::int64_t> free = FreeBytes(folder);
    if (!free || bytes <= *free) return "";
    return "needs " + std::to_string(bytes) + " bytes, " + std::to_string(*free) + " are free in " +
           folder;
}
