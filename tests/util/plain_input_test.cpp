// The plain file for reading: gzip streams to where they are sound, and signals meanwhile.

#include "util/io/plain_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"

namespace {

/// All that `file` has; `*error` is its own behind that.
std::string ReadAll(const std::string& name, int* error) {
    PlainInput input;
    EXPECT_TRUE(input.Open(name.c_str(), true));
    std::string all, piece(5000, '\0');
    std::int64_t read = 0;
    while ((read = input.Read(std::as_writable_bytes(std::span(piece)))) > 0)
        all.append(piece, 0, static_cast<std::size_t>(read));
    EXPECT_EQ(read < 0, input.Error() != 0);
    *error = input.Error();
    return all;
}

TEST(PlainInput, AGzipStreamIsReadAsFarAsItIsSound) {
    using namespace gzip_bytes;
    const std::string text = gzip_bytes::Plain(200'000), more = gzip_bytes::Plain(70'000);
    std::string wrong_checksum = Whole(text);
    wrong_checksum[wrong_checksum.size() - 8] ^= 1;
    struct Row {
        const char* name;
        std::string stored;
        std::string bytes;
        int error;
    };
    const ScratchFolder folder;
    for (const Row& row : {
             Row{"no gzip", text, text, 0},
             Row{"whole", Whole(text), text, 0},
             Row{"two members", Whole(text) + Whole(more), text + more, 0},
             Row{"trailing bytes", Whole(text) + "\x1Fxyz", text, 0},
             Row{"breaks off", Beginning(text), text, EIO},
             Row{"no such block", Beginning(text) + kNoBlock, text, EIO},
             Row{"wrong checksum", wrong_checksum, text, EIO},
             Row{"second breaks off", Whole(text) + Beginning(more), text + more, EIO},
         }) {
        WriteTo(folder.File("a"), row.stored);
        int error = 0;
        EXPECT_TRUE(ReadAll(folder.File("a"), &error) == row.bytes) << row.name;
        EXPECT_EQ(error, row.error) << row.name;
    }
}

std::atomic<int> signals{0};

TEST(PlainInput, SignalsDoNotEndAReadOfAGzipPipe) {
    struct sigaction counts {};
    struct sigaction before;
    counts.sa_handler = [](int) { ++signals; };  // without SA_RESTART
    sigaction(SIGUSR1, &counts, &before);
    const ScratchFolder folder;
    const std::string name = folder.File("pipe"), text = gzip_bytes::Plain(9000);
    const std::string stored = gzip_bytes::Whole(text);
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    std::thread writer([&, reader = pthread_self()] {
        const int pipe = ::open(name.c_str(), O_WRONLY);
        const std::size_t half = stored.size() / 2;
        EXPECT_GT(::write(pipe, stored.data(), half), 0);
        // The reader can only wait for the other half: most of these find it there.
        for (int i = 0; i < 50; ++i) {
            pthread_kill(reader, SIGUSR1);
            while (signals <= i) std::this_thread::yield();
        }
        EXPECT_GT(::write(pipe, stored.data() + half, stored.size() - half), 0);
        ::close(pipe);
    });
    int error = 0;
    EXPECT_TRUE(ReadAll(name, &error) == text);
    EXPECT_EQ(error, 0);
    writer.join();
    sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
