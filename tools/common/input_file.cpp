// InputFile: standard input, members of archives and gzip files as plain files.

#include "tools/common/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>

#include "tools/common/failure.h"
#include "tools/common/zip_member.h"
#include "util/io/gzip_stream.h"
#include "util/io/open_file.h"
#include "util/io/plain_file.h"

namespace {

constexpr std::size_t kPieceBytes = std::size_t{1} << 16;
constexpr std::array<std::byte, 2> kMagic = {std::byte{0x1f}, std::byte{0x8b}};

/// A file that is read once, from its start.
class StoredBytes {
public:
    StoredBytes(const std::string& path, std::string name)
        : name_(std::move(name)), descriptor_(OpenFile(path.c_str(), O_RDONLY)) {
        if (descriptor_ < 0) FailWithErrno(name_);
    }
    ~StoredBytes() { ::close(descriptor_); }
    StoredBytes(const StoredBytes&) = delete;
    StoredBytes& operator=(const StoredBytes&) = delete;

    /// Reads from `offset` up to the end of `bytes` or of the file. The answer: how many bytes.
    std::size_t ReadAt(std::int64_t offset, std::span<std::byte> bytes) {
        std::size_t there = 0;
        while (there < bytes.size()) {
            const ssize_t read = ::pread(descriptor_, &bytes[there], bytes.size() - there,
                                         offset + static_cast<std::int64_t>(there));
            if (read < 0 && errno == EINTR) continue;
            if (read < 0) FailWithErrno(name_);
            if (read == 0) break;
            there += static_cast<std::size_t>(read);
        }
        return there;
    }

private:
    const std::string name_;
    const int descriptor_;
};

}  // namespace

InputFile::InputFile(const std::string& name, Gzip gzip) : name_(name), path_(name) {
    if (name == "-")
        CopyStandardInput();
    else
        TakeMember();
    if (gzip != Gzip::kAnyBytes) RefuseArchive();
    if (gzip == Gzip::kInflated) Inflate();
}

void InputFile::CopyStandardInput() {
    name_ = "standard input";
    path_ = "/dev/stdin";
    // A redirected file can be opened again; anything else can be read only once.
    struct stat info;
    if (::fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode)) return;
    spool_ = std::make_unique<Spool>();
    CopyDescriptor(STDIN_FILENO, name_, spool_->Descriptor(), "temporary file");
    path_ = spool_->Path();
}

void InputFile::TakeMember() {
    const std::optional<ZipMemberName> member = MemberNamed(name_);
    if (!member) return;
    spool_ = std::make_unique<Spool>();
    InflateMember(*member, spool_.get());
    path_ = spool_->Path();
}

void InputFile::RefuseArchive() const {
    // Reading a pipe would take its bytes away, and what cannot be read fails when it is opened.
    struct stat info;
    if (::stat(path_.c_str(), &info) == 0 && S_ISREG(info.st_mode)) RefuseZip(path_, name_);
}

/// A broken stream is inflated as far as possible: callers that ask for this want to save what is
/// left. A file that cannot be read is another matter, and fails.
void InputFile::Inflate() {
    StoredBytes stored(path_, name_);
    std::array<std::byte, kMagic.size()> magic;
    if (stored.ReadAt(0, magic) < magic.size() || magic != kMagic) return;

    auto inflated = std::make_unique<Spool>();
    const std::string path = inflated->Path();
    PlainFile out;
    if (!out.Open(path.c_str(), kPlainWrite)) FailWithErrno("temporary file");
    const auto stream = std::make_unique<GzipStream>([&](std::int64_t at, std::span<std::byte> to) {
        return static_cast<std::int64_t>(stored.ReadAt(at, to));
    });
    const auto piece = std::make_unique<std::array<std::byte, kPieceBytes>>();
    for (std::size_t there = kPieceBytes; there == kPieceBytes;) {
        there = stream->Read(stream->End(), *piece);
        if (out.Write(std::span(*piece).first(there))) continue;
        errno = out.Error();
        FailWithErrno("temporary file");
    }
    was_inflated_ = true;
    broke_off_ = stream->GetState() == GzipStream::State::kDamaged;
    path_ = path;
    spool_ = std::move(inflated);
}
