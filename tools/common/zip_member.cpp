// Members of zip archives: finding the archive in the name, and inflating.

#include "tools/common/zip_member.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/nearest_name.h"
#include "util/io/plain_file.h"
#include "util/io/plain_input.h"
#include "util/io/zip_archive.h"

namespace {

constexpr std::size_t kUnpackedAtOnce = std::size_t{1} << 16;
constexpr std::size_t kMostShown = 4;       // members in a message
constexpr std::size_t kLongestShown = 100;  // bytes of a name in a message

bool EndsInZip(std::string_view name) {
    constexpr std::string_view kEnd = ".zip";
    if (name.size() <= kEnd.size()) return false;
    name.remove_prefix(name.size() - kEnd.size());
    // Capital letters as well, without the process's locale.
    return std::equal(name.begin(), name.end(), kEnd.begin(),
                      [](char c, char end) { return c == end || (end != '.' && (c | 32) == end); });
}

/// The first slash behind an archive's name in `name`, from `at` on; npos: there is none.
std::size_t FindArchiveEnd(std::string_view name, std::size_t at = 0) {
    for (at = name.find('/', at); at != name.npos; at = name.find('/', at + 1))
        if (EndsInZip(name.substr(0, at))) return at;
    return name.npos;
}

bool IsFolder(std::string_view member) {
    return member.empty() || member.ends_with('/');
}

/// The first members that can be read and whose names are not too long to show. Clouds first.
std::vector<std::string> FirstMembers(const ZipArchive& archive) {
    std::vector<std::string> clouds, others;
    for (std::size_t i = 0; i < archive.MemberCount() && clouds.size() < kMostShown; ++i) {
        const std::string_view name = archive.NameOf(i);
        if (IsFolder(name) || name.size() > kLongestShown) continue;
        std::vector<std::string>& kind =
            name.find(".ptc") != name.npos && !name.ends_with(".json") && !name.ends_with(".png")
                ? clouds
                : others;
        if (kind.size() < kMostShown) kind.emplace_back(name);
    }
    for (std::string& name : others)
        if (clouds.size() < kMostShown) clouds.push_back(std::move(name));
    return clouds;
}

/// The member that was meant: one of that name in some folder, or one with a similar name.
std::string NearestMember(const ZipArchive& archive, const std::string& wanted) {
    const std::string last = "/" + wanted.substr(wanted.find_last_of('/') + 1);  // npos + 1 is 0
    std::vector<std::string> names;
    for (std::size_t i = 0; i < archive.MemberCount(); ++i) {
        const std::string_view name = archive.NameOf(i);
        if (IsFolder(name) || name.size() > kLongestShown) continue;
        if (name.ends_with(last)) return std::string(name);
        names.emplace_back(name);
    }
    return NearestName(wanted, names);
}

/// "; the nearest is a", or else "; it has a, b and 5 more".
std::string WhatIsThere(const ZipArchive& archive, const std::string& wanted) {
    const std::string nearest = NearestMember(archive, wanted);
    if (!nearest.empty()) return "; the nearest is " + nearest;
    const std::vector<std::string> names = FirstMembers(archive);
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "; it has " : ", ") + name;
    if (text.empty()) return archive.MemberCount() == 0 ? "; it is empty" : "";
    if (names.size() < archive.MemberCount())
        text += fmt::format(" and {} more", archive.MemberCount() - names.size());
    return text;
}

/// Why a member that is not in the archive cannot be read.
std::string WhyMissing(const ZipArchive& archive, const std::string& member) {
    const std::size_t inner = FindArchiveEnd(member);
    for (std::size_t i = 0; inner != member.npos && i < archive.MemberCount(); ++i)
        if (archive.NameOf(i) == member.substr(0, inner))
            return fmt::format("{} is an archive inside the archive; take it out first",
                               member.substr(0, inner));
    return "the archive has no such member" + WhatIsThere(archive, member);
}

/// A member that takes more than there is would fill the disk of everybody before it fails.
void RequireRoom(std::int64_t bytes, const Spool& spool, const std::string& name) {
    struct statvfs disk;
    if (::fstatvfs(spool.Descriptor(), &disk) != 0) return;
    const auto room = static_cast<std::uint64_t>(disk.f_bavail) * disk.f_frsize;
    if (static_cast<std::uint64_t>(bytes) > room)
        throw Failure(
            fmt::format("{}: it takes {} bytes, and the folder for temporary files has "
                        "{}; TMPDIR names another one",
                        name, bytes, room));
}

/// A file that cannot be opened is none; whoever opens it next says why.
bool IsZip(const std::string& path, const std::string& name) {
    std::array<std::byte, 4> begin;
    PlainInput input;
    if (!input.Open(path.c_str(), false)) return false;
    const std::int64_t read = input.Read(begin);
    if (input.Error() != 0) FailWithErrno(name, input.Error());
    return read == static_cast<std::int64_t>(begin.size()) && ZipArchive::BeginsOne(begin);
}

}  // namespace

std::optional<ZipMemberName> MemberNamed(const std::string& name) {
    struct stat info;
    if (::stat(name.c_str(), &info) == 0) return std::nullopt;
    for (std::size_t end = FindArchiveEnd(name); end != name.npos;
         end = FindArchiveEnd(name, end + 1)) {
        std::string archive = name.substr(0, end);
        if (::stat(archive.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
        return ZipMemberName{std::move(archive), name.substr(end + 1)};
    }
    return std::nullopt;
}

void InflateMember(const ZipMemberName& name, Spool* spool) {
    ZipArchive archive;
    if (!archive.Open(name.archive)) throw Failure(name.archive + ": " + archive.Why());
    const std::string shown = name.archive + "/" + name.member;
    std::size_t member = 0;
    const std::size_t count = archive.CountOf(name.member, &member);
    if (count == 0) throw Failure(shown + ": " + WhyMissing(archive, name.member));
    if (count > 1)
        throw Failure(fmt::format("{}: the archive has {} members of that name", shown, count));
    if (!archive.BeginMember(member)) throw Failure(shown + ": " + archive.Why());
    RequireRoom(archive.MemberBytes(), *spool, shown);
    PlainFile out;
    if (!out.Open(spool->Path().c_str(), kPlainWrite)) FailWithErrno("temporary file");
    const auto piece = std::make_unique<std::array<std::byte, kUnpackedAtOnce>>();
    std::int64_t read = 0;
    while ((read = archive.Read(*piece)) > 0) {
        if (out.Write(std::span(*piece).first(static_cast<std::size_t>(read)))) continue;
        FailWithErrno("temporary file", out.Error());
    }
    if (read < 0) throw Failure(shown + ": " + archive.Why());
}

void RefuseZip(const std::string& path, const std::string& name) {
    if (!IsZip(path, name)) return;
    ZipArchive archive;
    const std::string text = name + ": it is a zip archive";
    if (MemberNamed(name)) throw Failure(text + " inside an archive; take it out first");
    if (!EndsInZip(name))
        throw Failure(text + "; give it a name that ends in .zip to read members");
    if (!archive.Open(path)) throw Failure(name + ": " + archive.Why());
    const std::vector<std::string> names = FirstMembers(archive);
    throw Failure(fmt::format("{}; name a member, such as {}/{}", text, name,
                              names.empty() ? "cloud.ptc" : names.front()));
}
