// GroupHasOthers: the table of processes, read through /proc.

#include "util/host/process_group.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "util/io/close_directory.h"
#include "util/io/open_file.h"
#include "util/io/owned_descriptor.h"

namespace {

/// Whether process `number` (decimal digits) lives in group `group`.
bool LivesIn(const char* number, pid_t group) {
    char text[512];  // the fields asked for are within the first hundred bytes
    (void)std::snprintf(text, sizeof text, "/proc/%s/stat", number);
    const OwnedDescriptor file(OpenFile(text, O_RDONLY));
    if (!file.IsOpen()) return false;
    const ssize_t bytes = ::read(file.Number(), text, sizeof text - 1);
    if (bytes <= 0) return false;
    text[bytes] = '\0';
    // The second field is a name in parentheses, which may hold parentheses and blanks itself.
    const char* const after_name = std::strrchr(text, ')');
    char state = 0;
    int parent = 0;
    int its_group = 0;
    if (!after_name || std::sscanf(after_name, ") %c %d %d", &state, &parent, &its_group) != 3)
        return false;
    return its_group == group && state != 'Z' && state != 'X';
}

}  // namespace

bool GroupHasOthers(pid_t leader) {
    const std::unique_ptr<DIR, CloseDirectory> processes(::opendir("/proc"));
    if (!processes) return false;
    while (const dirent* const entry = ::readdir(processes.get())) {
        const long number = std::strtol(entry->d_name, nullptr, 10);
        if (number > 0 && number != leader && LivesIn(entry->d_name, leader)) return true;
    }
    return false;
}
