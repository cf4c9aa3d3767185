// The plain file as a guest: the host's signals and its standard descriptors stay the host's.

#include "util/io/plain_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/scratch.h"
#include "util/io/plain_input.h"
#include "util/io/random_source.h"

namespace {

constexpr unsigned kMode = kPlainWrite | kPlainTruncate | kPlainBinary | kPlainWriteThrough;

bool IsPending(int signal) {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

/// Writes beyond the process's limit and answers 0 when it fails as it should and no signal of the
/// write is left. Run in a process of its own, which a signal would end.
int WriteBeyondTheLimit(const std::string& name, bool has_pending_pipe) {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    if (has_pending_pipe) {
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        raise(SIGPIPE);
    }
    const rlimit limit{0, 0};
    setrlimit(RLIMIT_FSIZE, &limit);
    PlainFile file;
    if (!file.Open(name.c_str(), kMode)) return 1;
    if (file.Write(std::as_bytes(std::span("text"))) || file.Error() != EFBIG) return 2;
    if (IsPending(SIGXFSZ)) return 3;
    return IsPending(SIGPIPE) == has_pending_pipe ? 0 : 4;
}

TEST(UtilPlainFile, AFailedWriteTakesBackItsOwnSignalAndNoOther) {
    const ScratchFolder folder;
    for (const bool has_pending_pipe : {false, true})
        EXPECT_EXIT(_exit(WriteBeyondTheLimit(folder.File("f"), has_pending_pipe)),
                    testing::ExitedWithCode(0), "")
            << has_pending_pipe;
}

/// Opens files with the standard descriptors closed; 0 when these stay closed, and no file of ours
/// gets what a host prints there.
int OpenWithoutStandardDescriptors(const std::string& name) {
    for (int descriptor = 0; descriptor < 3; ++descriptor) close(descriptor);
    PlainFile written;
    if (!written.Open(name.c_str(), kMode)) return 1;
    PlainInput read;
    if (!read.Open(name.c_str(), false)) return 2;
    FileStamp stamp;
    const auto random = NewRandomSource(read.TakeFile(&stamp), false);
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) return 4;
    return 0;
}

TEST(UtilPlainFile, NoFileSitsOnAStandardDescriptor) {
    const ScratchFolder folder;
    EXPECT_EXIT(_exit(OpenWithoutStandardDescriptors(folder.File("f"))), testing::ExitedWithCode(0),
                "");
}

}  // namespace
