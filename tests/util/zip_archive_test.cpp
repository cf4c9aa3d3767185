// Zip archives that lie, and those that are written here.

#include "util/io/zip_archive.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <functional>

#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"
#include "tests/support/zip_bytes.h"
#include "util/io/zip_writer.h"

using namespace zip_bytes;

namespace {

const std::string kWord = "ninety-nine bytes are enough";
const std::string kPlain = gzip_bytes::Plain(200'000);

/// What became of reading "a" in an archive: its bytes, or why not.
std::string ReadOf(
    const std::string& file, const std::function<void()>& meanwhile = [] {}) {
    ZipArchive archive;
    if (!archive.Open(file)) return "archive: " + archive.Why();
    std::size_t member = 0;
    const std::size_t count = archive.CountOf("a", &member);
    if (count != 1) return std::to_string(count) + " of that name";
    if (!archive.BeginMember(member)) return archive.Why();
    meanwhile();
    std::string bytes;
    std::array<std::byte, 1000> piece;
    std::int64_t read = 0;
    while ((read = archive.Read(piece)) > 0) {
        bytes.append(reinterpret_cast<const char*>(piece.data()), static_cast<std::size_t>(read));
        EXPECT_LE(bytes.size(), static_cast<std::size_t>(archive.MemberBytes()));
    }
    return read < 0 ? archive.Why() : bytes;
}

/// `part` with one thing changed.
template <class Change>
Part With(Part part, Change change) {
    change(&part);
    return part;
}

struct HostileCase {
    std::string_view name;
    std::function<std::string()> archive;
    std::string expected;
};

Part Deflated() {
    return DeflatedPart("a", kPlain);
}

/// An honest member behind a long end record that counts `members`.
std::string WithLongCount(std::uint64_t members) {
    const Part part{"a", kWord};
    const std::string front = Local(part) + part.bytes;
    const std::string entry = Entry(part, 0);
    return front + entry +
           LongEnd(members, entry.size(), front.size(), front.size() + entry.size());
}

/// `count` members without bytes, and the one that is asked for in front.
std::string Many(std::size_t count) {
    std::vector<Part> parts = {{"a", kWord}};
    for (std::size_t i = 0; i < count; ++i) parts.push_back({std::to_string(i), ""});
    return Archive(parts);
}

const HostileCase kHostile[] = {
    {"Honest",
     [] {
         return Archive({{"a", kWord}});
     },
     kWord},
    {"HonestDeflated", [] { return Archive({Deflated()}); }, kPlain},
    {"Nothing", [] { return ""; },
     "archive: it is a zip archive whose end is missing, or none at all"},
    {"NotAnArchive", [] { return kPlain; },
     "archive: it is a zip archive whose end is missing, or none at all"},
    {"NamesThatClimb",
     [] {
         return Archive({{"../a", ""}, {"/a", ""}, {"\\a", ""}, {"./a", ""}, {"", ""}});
     },
     "0 of that name"},
    {"ZeroByteInANameDoesNotEndIt",
     [] {
         return Archive({{"a", "1"}, {std::string("a\0", 2), "2"}});
     },
     "1"},
    {"NameOf65535Bytes",
     [] {
         return Archive({{std::string(65535, 'n'), ""}, {"a", kWord}});
     },
     kWord},
    {"SeveralOfOneName",
     [] {
         return Archive({{"a", "1"}, {"a", "2"}});
     },
     "2 of that name"},
    {"Link",
     [] {
         return Archive({With({"a", "x"}, [](Part* p) { p->attributes = 0120777u << 16; })});
     },
     "it is a link or a device, not a file"},
    {"Encrypted",
     [] {
         return Archive({With({"a", kWord}, [](Part* p) { p->flags = 1; })});
     },
     "it is encrypted"},
    {"MethodWithMemoryOfItsOwnChoice",
     [] {
         return Archive({With({"a", kWord}, [](Part* p) { p->method = 14; })});
     },
     "it is compressed by method 14; only deflated and stored members are read"},
    {"WrongChecksum", [] { return Archive({With(Deflated(), [](Part* p) { p->checksum = 1; })}); },
     "it does not agree with its checksum"},
    {"BrokenStream",
     [] { return Archive({With(Deflated(), [](Part* p) { p->bytes.replace(0, 9, 9, '\x07'); })}); },
     "its compressed data is damaged"},
    {"CutStream",
     [] { return Archive({With(Deflated(), [](Part* p) { p->packed_size = 1000; })}); },
     "it does not agree with its checksum"},
    {"DeclaresLessThanItInflatesTo",
     [] { return Archive({With(Deflated(), [](Part* p) { p->size = 10; })}); },
     "it has more than the 10 bytes that the archive declares"},
    {"DeclaresMoreThanItInflatesTo",
     [] { return Archive({With(Deflated(), [](Part* p) { p->size = kPlain.size() + 1; })}); },
     "it has fewer than the 200001 bytes that the archive declares"},
    {"DeclaresMoreThanDeflateCanMake",
     [] { return Archive({With(Deflated(), [](Part* p) { p->size = 1ull << 50; })}); },
     "the archive declares 1125899906842624 bytes, which cannot be in it"},
    {"DeclaresMoreThanAnyNumberHolds",
     [] {
         return Archive({With({"a", kWord}, [](Part* p) { p->size = p->packed_size = ~0ull; })});
     },
     "the archive declares 18446744073709551615 bytes, which cannot be in it"},
    {"StoredInAnotherSize",
     [] {
         return Archive({With({"a", kWord}, [](Part* p) { p->size = 5; })});
     },
     "the archive declares 5 bytes, which cannot be in it"},
    {"LiesBehindTheEnd",
     [] {
         return Archive({With({"a", kWord}, [](Part* p) { p->place = 0x7FFFFFFF; })});
     },
     "the archive's records lead out of it"},
    {"SharesItsBytes",
     [] {
         return Archive({{"a", kWord}, With({"b", kWord}, [](Part* p) { p->place = 0; })});
     },
     kWord},
    {"LongEnd", [] { return WithLongCount(1); }, kWord},
    {"CountsMoreThanMemoryHolds", [] { return WithLongCount(1ull << 33); },
     "archive: it counts more members than it has room for"},
    {"CountsAllThatThereCanBe", [] { return WithLongCount(~0ull); },
     "archive: it counts more members than it has room for"},
    {"MoreMembersThan16BitsCount", [] { return Many(65536); }, kWord},
};

class ZipArchiveHostile : public testing::TestWithParam<HostileCase> {};

TEST_P(ZipArchiveHostile, IsReadOrRefused) {
    const ScratchFolder folder;
    EXPECT_EQ(ReadOf(WriteTo(folder.File("x.zip"), GetParam().archive())), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Archives, ZipArchiveHostile, testing::ValuesIn(kHostile),
                         [](const auto& tested) { return std::string(tested.param.name); });

/// Wherever it is cut off, an archive gives its member whole or a reason.
TEST(ZipArchive, CutOffAnywhereIsRefused) {
    const ScratchFolder folder;
    const std::string whole = Archive({{"b", kWord}, DeflatedPart("a", kWord + kWord)});
    for (std::size_t length = 1; length < whole.size(); ++length) {
        const std::string read = ReadOf(WriteTo(folder.File("x.zip"), whole.substr(0, length)));
        EXPECT_EQ(read, "archive: it is a zip archive whose end is missing, or none at all")
            << length;
    }
}

/// Whatever byte is another one: the answer is the member's bytes or a reason, never other bytes.
TEST(ZipArchive, AnyOtherByteIsFoundOrHarmless) {
    const ScratchFolder folder;
    const std::string sound = Archive({DeflatedPart("a", kWord)});
    std::size_t refused = 0;
    for (std::size_t at = 0; at < sound.size(); ++at)
        for (const unsigned flip : {0x01u, 0x80u, 0xFFu}) {
            std::string bytes = sound;
            bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ flip);
            const std::string read = ReadOf(WriteTo(folder.File("x.zip"), bytes));
            if (read == kWord) continue;
            ++refused;
            EXPECT_FALSE(read.empty() || read.starts_with(kWord.substr(0, 5))) << at << read;
        }
    EXPECT_GT(refused, sound.size());  // most of the three times as many
}

TEST(ZipArchive, ReplacedWhileItIsReadIsTheOldOne) {
    const ScratchFolder folder;
    const std::string file = WriteTo(folder.File("x.zip"), Archive({Deflated()}));
    EXPECT_EQ(ReadOf(file,
                     [&] {
                         const std::string other = folder.File("y.zip");
                         std::filesystem::rename(WriteTo(other, Archive({{"a", kWord}})), file);
                     }),
              kPlain);
}

TEST(ZipArchive, EmptiedWhileItIsReadIsRefused) {
    const ScratchFolder folder;
    const std::string file = WriteTo(folder.File("x.zip"), Archive({Deflated()}));
    EXPECT_EQ(ReadOf(file, [&] { std::filesystem::resize_file(file, 0); }), "it ends too early");
}

class ZipWriter : public testing::Test {
protected:
    /// Writes `input` into a new archive. The answer: the failure, in one line, or nothing.
    std::string Write(const std::vector<ZipInput>& inputs) {
        ZipFailure failure;
        WriteTo(archive_, "");
        std::int64_t last = 0;
        if (WriteZip(
                inputs, archive_, [&](std::int64_t read) { last = read; }, &failure)) {
            std::int64_t total = 0;
            for (const ZipInput& input : inputs) total += input.bytes;
            EXPECT_EQ(last, total);
            return "";
        }
        return failure.file + ": " + failure.reason;
    }
    ZipInput Input(const std::string& name, std::int64_t bytes, int level) const {
        return {name, file_, "shown", 0, bytes, level};
    }

    const ScratchFolder folder_;
    const std::string archive_ = folder_.File("x.zip");
    const std::string file_ = WriteTo(folder_.File("in"), kPlain);
    const std::int64_t all_ = static_cast<std::int64_t>(kPlain.size());
};

TEST_F(ZipWriter, WritesWhatIsReadAgainAndTheSameWheneverAsked) {
    std::vector<ZipInput> inputs = {Input("\xff\xfe", 0, 6), Input("a", all_, 1)};
    ASSERT_EQ(Write(inputs), "");
    EXPECT_EQ(ReadOf(archive_), kPlain);
    const std::string first = ContentOf(archive_);
    setenv("TZ", "Asia/Tokyo", 1);
    tzset();
    EXPECT_EQ(Write(inputs), "");
    unsetenv("TZ");
    tzset();
    EXPECT_EQ(ContentOf(archive_), first);
    inputs[1] = {"a", file_, "shown", 100, 5, 0};
    ASSERT_EQ(Write(inputs), "");
    EXPECT_EQ(ReadOf(archive_), kPlain.substr(100, 5));
    EXPECT_NE(ContentOf(archive_).find("\xff\xfe"), std::string::npos);
}

TEST_F(ZipWriter, SaysWhichFileFailed) {
    EXPECT_EQ(Write({Input("a", all_ + 1, 1)}), "shown: it became shorter while it was read");
    EXPECT_EQ(Write({Input("b", 5, 0), {"a", folder_.File("none"), "shown", 0, 1, 1}}),
              "shown: No such file or directory");
    const rlimit small = {1000, RLIM_INFINITY};
    const rlimit large = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string full = Write({Input("a", all_, 0)});
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &large), 0);
    EXPECT_EQ(full, ": File too large");
}

}  // namespace
