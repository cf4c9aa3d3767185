// Writing zip archives: libzip's sources over descriptors of our own.
//
// libzip by itself would write to a file of its own making and rename it; the file that appears
// when it is whole is somebody else's business.

#include "util/io/zip_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

#include "util/base/uncopyable.h"
#include "util/io/open_file.h"
#include "util/io/plain_file.h"

namespace {

constexpr zip_uint16_t kNoon = 12 << 11;
constexpr zip_uint16_t kFirstDay = 1 << 5 | 1;
constexpr zip_uint32_t kPlainFile = zip_uint32_t{S_IFREG | 0644} << 16;

constexpr int kChanged = 0;  // in place of a reason of the system's

/// A file that libzip reads or writes through Answer(), which must not throw.
class ZipFile : public TgUncopyable {
public:
    virtual ~ZipFile() = default;

    bool HasFailed() const { return has_failed_; }
    std::string Reason() const {
        return error_ == kChanged ? "it became shorter while it was read"
                                  : std::generic_category().message(error_);
    }

    /// For zip_source_function_create().
    static zip_int64_t Answer(void* file, void* data, zip_uint64_t length,
                              zip_source_cmd_t command) {
        auto* const self = static_cast<ZipFile*>(file);
        if (command == ZIP_SOURCE_ERROR) {
            const std::array<int, 2> codes = {ZIP_ER_INTERNAL, 0};  // Reason() has the true one
            if (length < sizeof codes) return -1;
            std::copy(codes.begin(), codes.end(), static_cast<int*>(data));
            return sizeof codes;
        }
        return self->Obey(command, data, length);
    }

protected:
    virtual zip_int64_t Obey(zip_source_cmd_t command, void* data, zip_uint64_t length) = 0;

    /// -1, which is libzip's word for it.
    zip_int64_t Fail(int error) {
        has_failed_ = true;
        error_ = error;
        return -1;
    }

private:
    bool has_failed_ = false;
    int error_ = 0;
};

/// A member's bytes on their way into the archive.
class MemberFile final : public ZipFile {
public:
    MemberFile(const ZipInput& input, const std::function<void(std::int64_t)>& read)
        : input_(input), read_(read) {}
    ~MemberFile() override { CloseIt(); }

private:
    zip_int64_t Obey(zip_source_cmd_t command, void* data, zip_uint64_t length) override {
        switch (command) {
            case ZIP_SOURCE_OPEN:
                done_ = 0;
                descriptor_ = OpenFile(input_.path.c_str(), O_RDONLY);
                return descriptor_ < 0 ? Fail(errno) : 0;
            case ZIP_SOURCE_READ:
                return Read(data, length);
            case ZIP_SOURCE_CLOSE:
                CloseIt();
                return 0;
            case ZIP_SOURCE_STAT: {
                auto* const stat = static_cast<zip_stat_t*>(data);
                zip_stat_init(stat);
                stat->size = static_cast<zip_uint64_t>(input_.bytes);
                stat->valid = ZIP_STAT_SIZE;
                return sizeof *stat;
            }
            case ZIP_SOURCE_FREE:
                return 0;
            case ZIP_SOURCE_SUPPORTS:
                return ZIP_SOURCE_SUPPORTS_READABLE;
            default:
                return Fail(ENOTSUP);
        }
    }

    zip_int64_t Read(void* to, zip_uint64_t length) {
        const auto wanted =
            std::min<zip_uint64_t>(length, static_cast<zip_uint64_t>(input_.bytes - done_));
        if (wanted == 0) return 0;
        ssize_t read = 0;
        do {
            read = ::pread(descriptor_, to, wanted, input_.offset + done_);
        } while (read < 0 && errno == EINTR);
        if (read <= 0) return Fail(read < 0 ? errno : kChanged);
        done_ += read;
        read_(read);
        return read;
    }

    void CloseIt() {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = -1;
    }

    const ZipInput& input_;
    const std::function<void(std::int64_t)>& read_;
    int descriptor_ = -1;
    std::int64_t done_ = 0;
};

/// The archive to be. libzip goes back in it to complete the headers of members.
class ArchiveFile final : public ZipFile {
public:
    [[nodiscard]] bool Open(const std::string& path) {
        return file_.Open(path.c_str(), kPlainWrite) || Fail(file_.Error()) == 0;
    }
    [[nodiscard]] bool Close() { return file_.Close() || Fail(file_.Error()) == 0; }

private:
    zip_int64_t Obey(zip_source_cmd_t command, void* data, zip_uint64_t length) override {
        switch (command) {
            case ZIP_SOURCE_WRITE:
                return Write(data, length);
            case ZIP_SOURCE_TELL_WRITE:
                return place_;
            case ZIP_SOURCE_SEEK_WRITE:
                return Seek(data, length);
            case ZIP_SOURCE_STAT: {
                auto* const stat = static_cast<zip_stat_t*>(data);
                zip_stat_init(stat);
                stat->size = 0;
                stat->valid = ZIP_STAT_SIZE;
                return sizeof *stat;
            }
            case ZIP_SOURCE_SUPPORTS:
                return ZIP_SOURCE_SUPPORTS_WRITABLE;
            case ZIP_SOURCE_READ:  // it is empty
            case ZIP_SOURCE_OPEN:
            case ZIP_SOURCE_CLOSE:
            case ZIP_SOURCE_BEGIN_WRITE:
            case ZIP_SOURCE_COMMIT_WRITE:
            case ZIP_SOURCE_ROLLBACK_WRITE:
            case ZIP_SOURCE_FREE:
                return 0;
            default:
                return Fail(ENOTSUP);
        }
    }

    zip_int64_t Write(const void* from, zip_uint64_t length) {
        if (!file_.Write({static_cast<const std::byte*>(from), length})) return Fail(file_.Error());
        place_ += static_cast<zip_int64_t>(length);
        end_ = std::max(end_, place_);
        return static_cast<zip_int64_t>(length);
    }

    zip_int64_t Seek(void* data, zip_uint64_t length) {
        const zip_int64_t place =
            zip_source_seek_compute_offset(static_cast<zip_uint64_t>(place_),
                                           static_cast<zip_uint64_t>(end_), data, length, nullptr);
        if (place < 0) return Fail(EINVAL);
        if (!file_.Seek(place)) return Fail(file_.Error());
        place_ = place;
        return 0;
    }

    PlainFile file_;
    zip_int64_t place_ = 0;
    zip_int64_t end_ = 0;
};

struct DiscardZip {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};

/// libzip keeps a source that is created, and none when it says no.
zip_source_t* SourceOf(ZipFile* file) {
    return zip_source_function_create(&ZipFile::Answer, file, nullptr);
}

bool AddMember(zip_t* archive, const ZipInput& input, ZipFile* file) {
    zip_source_t* const source = SourceOf(file);
    if (!source) return false;
    const zip_int64_t added = zip_file_add(archive, input.name.c_str(), source, ZIP_FL_ENC_GUESS);
    if (added < 0) {
        zip_source_free(source);
        return false;
    }
    const auto member = static_cast<zip_uint64_t>(added);
    const zip_int32_t method = input.level > 0 ? ZIP_CM_DEFLATE : ZIP_CM_STORE;
    const auto level = static_cast<zip_uint32_t>(input.level);
    return zip_set_file_compression(archive, member, method, level) == 0 &&
           zip_file_set_dostime(archive, member, kNoon, kFirstDay, 0) == 0 &&
           zip_file_set_external_attributes(archive, member, 0, ZIP_OPSYS_UNIX, kPlainFile) == 0;
}

}  // namespace

bool WriteZip(const std::vector<ZipInput>& members, const std::string& path,
              const std::function<void(std::int64_t)>& progress, ZipFailure* failure) {
    ArchiveFile file;
    std::int64_t read = 0;
    const std::function<void(std::int64_t)> add = [&](std::int64_t bytes) {
        progress(read += bytes);
    };
    // Before the archive, whose sources they are until it goes.
    std::vector<std::unique_ptr<MemberFile>> files;
    files.reserve(members.size());
    zip_source_t* const target = file.Open(path) ? SourceOf(&file) : nullptr;
    std::unique_ptr<zip_t, DiscardZip> archive(
        target ? zip_open_from_source(target, ZIP_CREATE | ZIP_TRUNCATE, nullptr) : nullptr);
    if (target && !archive) zip_source_free(target);

    bool is_done = archive != nullptr;
    for (const ZipInput& input : members) {
        files.push_back(std::make_unique<MemberFile>(input, add));
        is_done = is_done && AddMember(archive.get(), input, files.back().get());
    }
    if (is_done && zip_close(archive.get()) == 0) {
        (void)archive.release();  // gone
        if (file.Close()) return true;
    }
    *failure = {"", archive ? zip_strerror(archive.get()) : "out of memory"};
    if (file.HasFailed()) *failure = {"", file.Reason()};
    for (std::size_t i = 0; i < files.size(); ++i)
        if (files[i]->HasFailed()) *failure = {members[i].shown, files[i]->Reason()};
    return false;
}
