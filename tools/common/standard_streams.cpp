// Standard streams: the descriptors' places, and errors of standard output.

#include "tools/common/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>

#include "tools/common/failure.h"
#include "util/text/printable_text.h"

namespace {

bool out_has_failed = false;

[[noreturn]] void FailOut() {
    out_has_failed = true;
    FailWithErrno("standard output");
}

}  // namespace

bool HoldStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
        // The system takes the lowest free number, which is this one. The root folder always
        // exists, and opened this way it can be neither read nor written.
        if (::open("/", O_PATH) != descriptor) return false;
    }
    return true;
}

void WriteOut(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) FailOut();
}

void FlushOut() {
    if (out_has_failed) return;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) FailOut();
}

bool OutHasFailed() {
    return out_has_failed;
}

void Tell(const char* program, std::string_view text) noexcept {
    try {
        // In one call, so that the lines of several processes on one terminal do not mix.
        const std::string line = std::string(program) + ": " + Printable(text) + '\n';
        std::fputs(line.c_str(), stderr);
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "%s: out of memory\n", program);
    }
}

const char* FailureText(const std::exception& failure) noexcept {
    const bool is_memory = dynamic_cast<const std::bad_alloc*>(&failure) != nullptr;
    return is_memory ? "out of memory" : failure.what();
}

void TellFailure(const char* program, const std::exception& failure) noexcept {
    Tell(program, FailureText(failure));
}
