// CopyFile: cp writes into a file without a name, which then takes the name.

#include "util/host/copy_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string_view>

#include "util/host/child_process.h"
#include "util/io/whole_file.h"
#include "util/text/system_reason.h"

namespace {

constexpr std::chrono::milliseconds kLook{200};

bool Fail(const std::string& name, int error, std::string* failure) {
    *failure = name + ": " + SystemReason(error).c_str();
    return false;
}

/// An errno value; 0: `name` can be copied. cp would wait for what a pipe brings, or fill the disk
/// from a device.
int WhyNotCopied(const std::string& name) {
    struct stat info {};
    if (::stat(name.c_str(), &info) != 0) return errno;
    if (S_ISDIR(info.st_mode)) return EISDIR;
    return S_ISREG(info.st_mode) ? 0 : EINVAL;
}

/// 0 too if there is nothing of that name: the end of the work will tell whether there can be.
int WhyNotReplaced(const std::string& name) {
    const int error = WhyNotCopied(name);
    return error == ENOENT ? 0 : error;
}

/// The name by which another process finds what `path` is here.
std::string PathForOthers(const std::string& path) {
    constexpr std::string_view kSelf = "/proc/self/";
    if (!path.starts_with(kSelf)) return path;
    return "/proc/" + std::to_string(::getpid()) + "/" + path.substr(kSelf.size());
}

/// The last line of `output`, with `name` for the file that has none yet.
std::string LastLine(std::string output, const std::string& path, const std::string& name) {
    while (output.ends_with('\n')) output.pop_back();
    std::string line = output.substr(output.rfind('\n') + 1);
    if (const std::size_t at = line.find(path); at != std::string::npos)
        line.replace(at, path.size(), name);
    return line;
}

}  // namespace

bool CopyFile(const std::string& from, const std::string& to, std::string* failure,
              const std::function<void()>& look) {
    if (const int error = WhyNotCopied(from); error != 0) return Fail(from, error, failure);
    if (const int error = WhyNotReplaced(to); error != 0) return Fail(to, error, failure);
    WholeFile copy;
    if (!copy.Begin(to)) return Fail(to, errno, failure);
    const std::string path = PathForOthers(copy.Path());
    ChildProcess child;
    if (!child.Start({.arguments = {"/bin/cp", "--reflink=auto", "--preserve=mode,timestamps", "--",
                                    from, path},
                      .environment = {"LC_ALL=C"},
                      .folder = {},
                      .output = ChildRequest::Output::kCollected,
                      .output_file = {}}))
        return Fail("/bin/cp", errno, failure);
    std::optional<ChildEnd> ended = child.Wait(kLook);
    for (; !ended; ended = child.Wait(kLook)) look();
    const ChildEnd end = *ended;
    if (!end.IsSuccess()) {
        *failure = LastLine(child.TakeOutput(), path, to);
        if (failure->empty())
            *failure = from + ": /bin/cp ended " +
                       (end.signal != 0 ? "by signal " + std::to_string(end.signal)
                                        : "with status " + std::to_string(end.status));
        return false;
    }
    return copy.Commit() || Fail(to, errno, failure);
}
