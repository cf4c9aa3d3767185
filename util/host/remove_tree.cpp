// RemoveContents: by descriptors, so that no name is looked up twice from the root.

#include "util/host/remove_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "util/io/close_directory.h"
#include "util/io/owned_descriptor.h"

namespace {

constexpr int kMostDeep = 16;

bool RemoveEntry(int folder, const char* name, std::chrono::steady_clock::time_point deadline,
                 int depth) {
    if (::unlinkat(folder, name, 0) == 0 || errno == ENOENT) return true;
    if (errno != EISDIR || depth >= kMostDeep) return false;
    const OwnedDescriptor inner(
        ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return inner.IsOpen() && RemoveContents(inner.Number(), "", deadline, depth + 1) &&
           ::unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

}  // namespace

bool RemoveContents(int descriptor, std::string_view kept,
                    std::chrono::steady_clock::time_point deadline, int depth) {
    OwnedDescriptor again(::openat(descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> folder(again.IsOpen() ? ::fdopendir(again.Number())
                                                                     : nullptr);
    if (!folder) return false;
    (void)again.Release();
    bool is_empty = true;
    while (const dirent* const entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || name == kept) continue;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        if (!RemoveEntry(descriptor, entry->d_name, deadline, depth)) is_empty = false;
    }
    return is_empty;
}
