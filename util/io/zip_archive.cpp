// ZipArchive: checks in front of libzip, which believes what an archive declares.

#include "util/io/zip_archive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

#include "util/io/open_file.h"

namespace {

// Of the end of an archive, as its format has them.
constexpr std::string_view kLocator = "PK\x06\x07";  // leads to the long end record
constexpr std::string_view kLongEnd = "PK\x06\x06";
constexpr std::size_t kLocatorBytes = 20;
constexpr std::size_t kLocatorPlace = 8;  // of the long end record's offset
constexpr std::size_t kLongEndBytes = 56;
constexpr std::size_t kLongEndCounts = 24;  // two counts of members, eight bytes each
constexpr std::size_t kShortestEntry = 46;  // of a member in the directory
constexpr std::size_t kLongestEnd = 0xFFFF + 22 + kLocatorBytes;  // with its comment

constexpr std::uint64_t kMostInflation = 1032;  // bytes that deflate makes of one

std::uint64_t TakeNumber(std::string_view bytes, std::size_t at) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i)
        number |= std::uint64_t{static_cast<unsigned char>(bytes[at + i])} << 8 * i;
    return number;
}

/// Reads what is there of `bytes` at `offset`, and cuts them to that. False, and errno: a read
/// error.
bool ReadAt(int descriptor, std::uint64_t offset, std::string* bytes) {
    std::size_t there = 0;
    const bool is_possible =
        offset <= static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
    while (is_possible && there < bytes->size()) {
        const ssize_t read = ::pread(descriptor, bytes->data() + there, bytes->size() - there,
                                     static_cast<off_t>(offset + there));
        if (read < 0 && errno == EINTR) continue;
        if (read < 0) return false;
        if (read == 0) break;
        there += static_cast<std::size_t>(read);
    }
    bytes->resize(there);
    return true;
}

/// Why libzip must not see the file; empty: it may. It makes a table of as many members as a long
/// end record counts before it reads the first, so the file must have room for all of them. The
/// short record cannot count many.
std::string WhyRefused(int descriptor, std::uint64_t length) {
    const auto reason = [] { return std::generic_category().message(errno); };
    std::string end(static_cast<std::size_t>(std::min<std::uint64_t>(length, kLongestEnd)), '\0');
    if (!ReadAt(descriptor, length - end.size(), &end)) return reason();
    for (std::size_t at = end.find(kLocator); at != end.npos; at = end.find(kLocator, at + 1)) {
        if (end.size() - at < kLocatorBytes) break;
        std::string record(kLongEndBytes, '\0');
        if (!ReadAt(descriptor, TakeNumber(end, at + kLocatorPlace), &record)) return reason();
        if (record.size() < kLongEndBytes || !record.starts_with(kLongEnd)) continue;
        for (const std::size_t count : {kLongEndCounts, kLongEndCounts + 8})
            if (TakeNumber(record, count) > length / kShortestEntry)
                return "it counts more members than it has room for";
    }
    return {};
}

/// What libzip's code means, in words that follow a file's name.
std::string ReasonOf(zip_error_t* error) {
    switch (zip_error_code_zip(error)) {
        case ZIP_ER_NOZIP:
            return "it is a zip archive whose end is missing, or none at all";
        case ZIP_ER_CRC:
            return "it does not agree with its checksum";
        case ZIP_ER_EOF:
            return "it ends too early";
        case ZIP_ER_ZLIB:
        case ZIP_ER_COMPRESSED_DATA:
            return "its compressed data is damaged";
        case ZIP_ER_INCONS:
        case ZIP_ER_NOENT:  // what a long end record gives that is none
            return "the archive's records contradict each other";
        case ZIP_ER_SEEK:
        case ZIP_ER_INVAL:  // what an offset beyond the end gives
            return "the archive's records lead out of it";
        case ZIP_ER_MULTIDISK:
            return "archives in several parts are not read";
        default:
            break;
    }
    if (zip_error_system_type(error) == ZIP_ET_SYS && zip_error_code_system(error) != 0)
        return std::generic_category().message(zip_error_code_system(error));
    return zip_error_strerror(error);
}

/// The same of a code alone.
std::string ReasonOf(int code) {
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    std::string reason = ReasonOf(&error);
    zip_error_fini(&error);
    return reason;
}

}  // namespace

bool ZipArchive::BeginsOne(std::span<const std::byte> bytes) {
    constexpr std::array<std::string_view, 2> kBegins = {"PK\x03\x04", "PK\x05\x06"};
    return std::any_of(kBegins.begin(), kBegins.end(), [&](std::string_view begin) {
        return bytes.size() >= begin.size() &&
               std::memcmp(bytes.data(), begin.data(), begin.size()) == 0;
    });
}

bool ZipArchive::Fail(std::string why) {
    why_ = std::move(why);
    return false;
}

bool ZipArchive::Open(const std::string& path) {
    const int descriptor = OpenFile(path.c_str(), O_RDONLY);
    struct stat info;
    const auto fail = [&](std::string why) {
        if (descriptor >= 0) ::close(descriptor);
        return Fail(std::move(why));
    };
    if (descriptor < 0 || ::fstat(descriptor, &info) != 0)
        return fail(std::generic_category().message(errno));
    if (!S_ISREG(info.st_mode)) return fail("it is not a regular file");
    archive_bytes_ = static_cast<std::uint64_t>(info.st_size);
    if (std::string why = WhyRefused(descriptor, archive_bytes_); !why.empty())
        return fail(std::move(why));
    int code = ZIP_ER_OK;
    archive_.reset(zip_fdopen(descriptor, 0, &code));  // takes the descriptor when it succeeds
    if (!archive_) return fail(ReasonOf(code));
    (void)zip_set_archive_flag(archive_.get(), ZIP_AFL_RDONLY, 1);
    member_count_ = static_cast<std::size_t>(
        std::max<zip_int64_t>(zip_get_num_entries(archive_.get(), ZIP_FL_UNCHANGED), 0));
    return true;
}

const char* ZipArchive::NameOf(std::size_t member) const {
    const char* const name = zip_get_name(archive_.get(), member, ZIP_FL_ENC_RAW);
    return name ? name : "";
}

/// Not by libzip's table of names, which has one of several members that share a name.
std::size_t ZipArchive::CountOf(const std::string& name, std::size_t* first) const {
    std::size_t count = 0;
    for (std::size_t member = member_count_; member-- > 0;) {
        if (name != NameOf(member)) continue;
        *first = member;
        ++count;
    }
    return count;
}

bool ZipArchive::IsReadable(std::size_t member, const zip_stat_t& stat) {
    if (std::string_view(NameOf(member)).ends_with('/')) return Fail("it is a folder");
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(archive_.get(), member, 0, &system, &attributes) == 0 &&
        system == ZIP_OPSYS_UNIX) {
        const mode_t kind = attributes >> 16 & S_IFMT;
        if (kind != 0 && kind != S_IFREG) return Fail("it is a link or a device, not a file");
    }
    if (stat.encryption_method != ZIP_EM_NONE) return Fail("it is encrypted");
    // Other methods make decoders take the memory that the data asks for.
    if (stat.comp_method != ZIP_CM_STORE && stat.comp_method != ZIP_CM_DEFLATE)
        return Fail("it is compressed by method " + std::to_string(stat.comp_method) +
                    "; only deflated and stored members are read");
    const bool is_deflated = stat.comp_method == ZIP_CM_DEFLATE;
    if (stat.comp_size > archive_bytes_ || (!is_deflated && stat.comp_size != stat.size) ||
        stat.size / kMostInflation > stat.comp_size)
        return Fail("the archive declares " + std::to_string(stat.size) +
                    " bytes, which cannot be in it");
    return true;
}

bool ZipArchive::BeginMember(std::size_t member) {
    member_.reset();
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive_.get(), member, 0, &stat) != 0)
        return Fail(ReasonOf(zip_get_error(archive_.get())));
    if (!IsReadable(member, stat)) return false;
    member_.reset(zip_fopen_index(archive_.get(), member, 0));
    if (!member_) return Fail(ReasonOf(zip_get_error(archive_.get())));
    declared_ = static_cast<std::int64_t>(stat.size);
    read_ = 0;
    return true;
}

std::int64_t ZipArchive::Read(std::span<std::byte> bytes) {
    const zip_int64_t read = zip_fread(member_.get(), bytes.data(), bytes.size());
    if (read < 0) {
        (void)Fail(ReasonOf(zip_file_get_error(member_.get())));
        return -1;
    }
    read_ += read;
    if (read_ <= declared_ && (read > 0 || read_ == declared_)) return read;
    (void)Fail("it has " + std::string(read_ > declared_ ? "more" : "fewer") + " than the " +
               std::to_string(declared_) + " bytes that the archive declares");
    return -1;
}
