// ZipArchive: a zip archive that anybody may have made, and the bytes of its members.
//
// An archive is opened once and read through that descriptor: another file that takes its name
// meanwhile changes nothing. Nothing is written under a name that an archive holds, and no memory
// is sized by what an archive declares, except by a count that its length bears out.
//
// Units      bytes; members are counted from 0.
// Errors     false or -1, and Why() says why in words that follow a file's name.
//            Throws std::bad_alloc when memory runs out.
// Ownership  owns the open file.
// Threads    one caller at a time; different objects may be used by different threads at once.

#pragma once

#include <zip.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

class ZipArchive {
public:
    /// Whether a file that begins with `bytes`, at least four, is a zip archive by that.
    static bool BeginsOne(std::span<const std::byte> bytes);

    ZipArchive() = default;
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    /// Caller: has not opened one with this object before.
    [[nodiscard]] bool Open(const std::string& path);

    std::size_t MemberCount() const { return member_count_; }

    /// A member's name as the archive stores it: any bytes, zeros as blanks. Valid as long as the
    /// archive is. Folders are members whose names end in a slash.
    const char* NameOf(std::size_t member) const;

    /// How many members are called `name`, byte by byte. `*first`: one of them; untouched if there
    /// is none.
    std::size_t CountOf(const std::string& name, std::size_t* first) const;

    /// Begins to read a member. False: it is not a file, or cannot be read.
    [[nodiscard]] bool BeginMember(std::size_t member);

    /// How many bytes the member that is being read declares. No more of them are read.
    std::int64_t MemberBytes() const { return declared_; }

    /// Reads on. The answer: how many bytes; 0: the member is whole and agrees with its checksum;
    /// -1: it is damaged, or cannot be read, and what was read so far is of no use.
    [[nodiscard]] std::int64_t Read(std::span<std::byte> bytes);

    const std::string& Why() const { return why_; }

private:
    struct Discard {
        void operator()(zip_t* archive) const { zip_discard(archive); }
    };
    struct Close {
        void operator()(zip_file_t* member) const { (void)zip_fclose(member); }
    };

    bool Fail(std::string why);
    bool IsReadable(std::size_t member, const zip_stat_t& stat);

    std::unique_ptr<zip_t, Discard> archive_;
    std::unique_ptr<zip_file_t, Close> member_;  // gone before the archive is
    std::size_t member_count_ = 0;
    std::uint64_t archive_bytes_ = 0;
    std::int64_t declared_ = 0;
    std::int64_t read_ = 0;
    std::string why_;
};
