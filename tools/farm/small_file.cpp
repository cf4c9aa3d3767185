// Small files: descriptors, places and stamps.

#include "tools/farm/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tools/common/failure.h"
#include "util/io/open_file.h"
#include "util/io/owned_descriptor.h"

namespace farm {

namespace {

constexpr std::size_t kTail = std::size_t{16} << 10;

/// Opening does not wait for the other end of a pipe.
OwnedDescriptor OpenForReading(const std::string& file) {
    return OwnedDescriptor(OpenFile(file.c_str(), O_RDONLY | O_NONBLOCK));
}

/// Reads from `offset` to the end of the file, at most `most` bytes. False: errno says why.
bool ReadFrom(int descriptor, off_t offset, std::size_t most, std::string* text) {
    text->resize(most);
    std::size_t there = 0;
    while (there < most) {
        const ssize_t read =
            ::pread(descriptor, &(*text)[there], most - there, offset + static_cast<off_t>(there));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return false;
        if (read == 0) break;
        there += static_cast<std::size_t>(read);
    }
    text->resize(there);
    return true;
}

/// Only regular files are read. False: errno says why.
bool ReadAll(const std::string& file, std::size_t most, std::string* text) {
    const OwnedDescriptor in = OpenForReading(file);
    struct stat info;
    if (!in.IsOpen() || ::fstat(in.Number(), &info) != 0) return false;
    errno = S_ISDIR(info.st_mode) ? EISDIR : !S_ISREG(info.st_mode) ? EINVAL : EFBIG;
    if (!S_ISREG(info.st_mode) || info.st_size > static_cast<off_t>(most)) return false;
    return ReadFrom(in.Number(), 0, static_cast<std::size_t>(info.st_size), text);
}

}  // namespace

std::string ReadSmallFile(const std::string& file, std::size_t most) {
    std::string text;
    if (!ReadAll(file, most, &text)) FailWithErrno(file);
    return text;
}

std::optional<std::string> TryReadSmallFile(const std::string& file, std::size_t most) {
    std::string text;
    if (!ReadAll(file, most, &text)) return std::nullopt;
    return text;
}

std::vector<std::string> LastLines(const std::string& file, std::size_t count) {
    const OwnedDescriptor in = OpenForReading(file);
    struct stat info {};
    std::string text;
    std::vector<std::string> lines;
    if (!in.IsOpen() || ::fstat(in.Number(), &info) != 0 || !S_ISREG(info.st_mode)) return lines;
    const off_t begin = std::max<off_t>(0, info.st_size - static_cast<off_t>(kTail));
    if (!ReadFrom(in.Number(), begin, kTail, &text)) return lines;
    while (lines.size() < count) {
        const std::size_t last = text.find_last_not_of(" \t\r\n");
        if (last == text.npos) break;
        text.resize(last + 1);
        const std::size_t first = text.find_last_of("\r\n") + 1;  // npos + 1 is 0
        lines.insert(lines.begin(), text.substr(first));
        text.resize(first);
    }
    return lines;
}

std::optional<Stamp> StampOf(const std::string& file) {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    struct stat info;
    if (::stat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    return Stamp{info.st_size, info.st_mtim.tv_sec * kNanoseconds + info.st_mtim.tv_nsec};
}

}  // namespace farm
