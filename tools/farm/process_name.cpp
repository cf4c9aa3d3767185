// ProcessName: what the kernel tells about processes.

#include "tools/farm/process_name.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <climits>

#include "tools/farm/small_file.h"

namespace farm {

namespace {

constexpr std::size_t kMostLineBytes = 4096;
constexpr int kBeginField = 22;     // of /proc/PID/stat, counted from 1
constexpr int kFieldsUpToName = 2;  // the name may hold blanks and brackets

/// 0: there is no such process, or it has ended and waits for its parent.
std::uint64_t BeginOf(pid_t process) {
    const std::string file = fmt::format("/proc/{}/stat", process);
    // Files of the kernel have no size, so they are read as what they are: a few words.
    std::array<char, kMostLineBytes> bytes;
    std::FILE* const stream = std::fopen(file.c_str(), "re");
    if (!stream) return 0;
    const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), stream);
    (void)std::fclose(stream);
    std::string_view text(bytes.data(), count);
    const std::size_t name_end = text.rfind(')');
    if (name_end == text.npos || name_end + 2 >= text.size()) return 0;
    text.remove_prefix(name_end + 2);
    if (text.front() == 'Z' || text.front() == 'X') return 0;
    for (int field = kFieldsUpToName + 1; field < kBeginField; ++field)
        text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
    std::uint64_t begin = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), begin);
    return begin;
}

std::string FirstLine(const char* file) {
    std::array<char, kMostLineBytes> bytes;
    std::FILE* const stream = std::fopen(file, "re");
    if (!stream) return "";
    const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), stream);
    (void)std::fclose(stream);
    const std::string_view text(bytes.data(), count);
    return std::string(text.substr(0, text.find('\n')));
}

std::string HostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    (void)::gethostname(name.data(), name.size() - 1);
    return name.data();
}

/// Containers of one machine share its name and its start, but do not see each other's processes.
std::string KernelName() {
    std::array<char, kMostLineBytes> link{};
    const ssize_t count = ::readlink("/proc/self/ns/pid", link.data(), link.size() - 1);
    return FirstLine("/proc/sys/kernel/random/boot_id") + (count > 0 ? link.data() : "");
}

}  // namespace

ProcessName ThisProcess() {
    return {HostName(), KernelName(), ::getpid(), BeginOf(::getpid())};
}

Life LifeOf(const ProcessName& name) {
    const ProcessName mine = ThisProcess();
    if (name.host != mine.host || name.kernel != mine.kernel || mine.begin == 0 || name.process < 1)
        return Life::kUnknown;
    const std::uint64_t begin = BeginOf(name.process);
    // A system may hide the processes of others.
    if (begin == 0 && ::kill(name.process, 0) != 0 && errno == EPERM) return Life::kUnknown;
    return begin == name.begin ? Life::kLives : Life::kIsDead;
}

}  // namespace farm
