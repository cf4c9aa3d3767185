// A gzip file at any place, from many threads, whatever entries it has.

#include "util/io/gzip_index.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"
#include "tests/support/together.h"

namespace {

TEST(GzipIndex, AnyPlaceIsReadFromManyThreadsWithFewEntriesAndWithMany) {
    const std::string one = gzip_bytes::Plain(700'000), two = gzip_bytes::Plain(400'000);
    const std::string all = one + two;
    const ScratchFolder folder;
    WriteTo(folder.File("a"),
            gzip_bytes::ManyBlocks(one) + gzip_bytes::ManyBlocks(two) + "behind the end");
    // Of the shortest span there are more entries than are kept, several times over.
    for (const std::int64_t span : {std::int64_t{1}, std::int64_t{50'000}, GzipIndex::kSpan}) {
        GzipIndex index(::open(folder.File("a").c_str(), O_RDONLY | O_CLOEXEC), span);
        std::atomic<int> wrong{0};
        RunTogether(3, [&](int id) {
            std::mt19937 random(static_cast<unsigned>(id));
            std::string got;
            for (int turn = 0; turn < 200; ++turn) {
                const std::size_t at = random() % (all.size() + 1000);
                const std::size_t wanted = random() % (turn % 10 ? 9000 : 200'000);
                got.assign(wanted, '\0');
                const std::int64_t read = index.ReadAt(static_cast<std::int64_t>(at),
                                                       std::as_writable_bytes(std::span(got)));
                got.resize(read < 0 ? 0 : static_cast<std::size_t>(read));
                wrong += read < 0 || got != all.substr(std::min(at, all.size()), wanted);
            }
        });
        EXPECT_EQ(wrong, 0) << span;
        std::byte none[1];
        EXPECT_EQ(index.ReadAt(INT64_MAX, none), 0);
        EXPECT_EQ(index.ReadAt(-1, none), -1);
    }
}

}  // namespace
