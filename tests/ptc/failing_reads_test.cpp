// Block reads when memory or the disk fails once: the next read has everything. And how much of a
// gzip file is read for that.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "ptc/access.h"
#include "ptc/cloud/record_reader.h"
#include "tests/support/clouds.h"
#include "tests/support/failing_new.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"

namespace {

constexpr int kPlenty = 1 << 30;
int news_left = kPlenty;  // the one behind them fails
int reads_left = kPlenty;
std::int64_t bytes_read = 0;

}  // namespace

// The linker sends the program's own calls here: see --wrap in CMakeLists.txt.
extern "C" {
ssize_t __real_pread(int descriptor, void* bytes, std::size_t count, off_t offset);

ssize_t __wrap_pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
    if (reads_left-- == 0) {
        errno = EIO;
        return -1;
    }
    const ssize_t read = __real_pread(descriptor, bytes, count, offset);
    bytes_read += read;
    return read;
}
}

namespace {

/// A stored cloud of `count` points; each one's radius is its index.
class StoredCloud {
public:
    StoredCloud(std::int64_t count, TokenForm form, bool is_gzip) : count_(count) {
        MemoryCloud made(WithVariables({}), form);
        for (std::int64_t i = 0; i < count; ++i)
            made.Add({{0, 1, 2}, {0, 0, 1}, static_cast<float>(i)});
        WriteTo(Name(), is_gzip ? gzip_bytes::Whole(made.Finished()) : made.Finished());
    }

    std::int64_t StoredBytes() const { return std::ssize(ContentOf(Name())); }

    void Open(PtcRecordReader* reader) const {
        std::string why;
        testing::internal::CaptureStderr();
        EXPECT_EQ(reader->Open(Name().c_str(), false, &why), CloudStatus::kOk) << why;
        testing::internal::GetCapturedStderr();
    }

    /// Whether the block that begins with point `first` comes, and is right.
    bool HasBlock(PtcRecordReader& reader, std::int64_t first) const {
        const std::int64_t count = std::min<std::int64_t>(256, count_ - first);
        PtcPoint points[256];
        try {
            if (Failed(reader.ReadPoints(first, count, points))) return false;
        } catch (const std::bad_alloc&) {
            return false;
        }
        return points[0].radius == static_cast<float>(first) &&
               points[count - 1].radius == static_cast<float>(first + count - 1);
    }

    std::string Name() const { return folder_.File("a.ptc"); }

private:
    const ScratchFolder folder_;
    const std::int64_t count_;
};

/// Lets each allocation, or each read, of getting two blocks fail in turn.
void FailEach(const StoredCloud& cloud, std::int64_t far_block, int* left) {
    for (int at = 0; at < kPlenty; ++at) {
        PtcRecordReader reader;
        cloud.Open(&reader);
        *left = at;
        const bool is_far = cloud.HasBlock(reader, far_block);
        const bool is_near = cloud.HasBlock(reader, 256);
        const bool has_failed = *left < 0;
        *left = kPlenty;
        EXPECT_TRUE(cloud.HasBlock(reader, far_block)) << at;
        EXPECT_TRUE(cloud.HasBlock(reader, 256)) << at;
        EXPECT_TRUE(cloud.HasBlock(reader, far_block + 256)) << at;
        if (testing::Test::HasFailure()) return;
        if (has_failed) continue;
        EXPECT_TRUE(is_far && is_near);
        EXPECT_GT(at, 1) << "something failed";
        return;
    }
}

TEST(FailingReads, WhatFailedOnceIsReadLater) {
    const StoredCloud binary(70'000, TokenForm::kBinary, true);  // long enough for an entry
    const StoredCloud text(2500, TokenForm::kText, true);
    const StoredCloud plain_text(2500, TokenForm::kText, false);
    new_fails = [] { return news_left-- == 0; };
    for (int* const left : {&news_left, &reads_left}) {
        FailEach(binary, 65'536, left);
        FailEach(text, 2048, left);
        FailEach(plain_text, 2048, left);
    }
}

TEST(FailingReads, ARunEndsWhereAReadFailsAndIsReadLater) {
    constexpr std::int64_t kCount = 20'000;
    const StoredCloud cloud(kCount, TokenForm::kBinary, false);
    for (int at = 0; at < kPlenty; ++at) {
        PtcShutdown();
        const PtcFile file(cloud.Name().c_str());
        std::vector<float> radii(kCount, -1);
        const PtcPointArrays arrays = {nullptr, nullptr, radii.data(), nullptr};
        testing::internal::CaptureStderr();
        reads_left = at;
        const std::int64_t copied = PtcGetPoints(file.Get(), 0, kCount, arrays);
        testing::internal::GetCapturedStderr();
        const bool has_failed = reads_left < 0;
        reads_left = kPlenty;
        for (std::int64_t i = 0; i < kCount; ++i)
            ASSERT_EQ(radii[static_cast<std::size_t>(i)], i < copied ? static_cast<float>(i) : -1);
        EXPECT_EQ(PtcGetPoints(file.Get(), 0, kCount, arrays), kCount);
        if (has_failed) continue;
        EXPECT_EQ(copied, kCount);
        EXPECT_LT(at, kCount / 256 / 5) << "reads of several blocks each";
        EXPECT_GT(at, 2);
        return;
    }
}

TEST(FailingReads, InSequenceAGzipFileIsReadOnce) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        constexpr std::int64_t kCount = 70'000;
        const StoredCloud cloud(kCount, form, true);
        PtcRecordReader reader;
        cloud.Open(&reader);
        bytes_read = 0;
        for (std::int64_t first = 0; first < kCount; first += 256)
            EXPECT_TRUE(cloud.HasBlock(reader, first)) << first;
        EXPECT_LE(bytes_read, cloud.StoredBytes());
        // Later, too, because a stream waits where the last read ended.
        bytes_read = 0;
        for (std::int64_t first = 0; first < kCount; first += 256)
            EXPECT_TRUE(cloud.HasBlock(reader, first)) << first;
        EXPECT_LE(bytes_read, cloud.StoredBytes() * 5 / 4);
    }
}

}  // namespace
