// InputFile: standard input and gzip files as plain files.

#include "tools/common/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <new>
#include <span>

#include "util/plain_file.h"

namespace {

constexpr std::size_t kPieceBytes = std::size_t{1} << 16;
constexpr int kGzipFrame = 15 + 16;  // the largest window, and zlib's mark for a gzip header
constexpr std::size_t kMagicBytes = 2;

/// A file that is read once, from its start, in pieces.
class PieceReader {
public:
    PieceReader(const std::string& path, std::string name) : name_(std::move(name)) {
        do {
            descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        } while (descriptor_ < 0 && errno == EINTR);
        if (descriptor_ < 0) FailWithErrno(name_);
    }
    ~PieceReader() { ::close(descriptor_); }
    PieceReader(const PieceReader&) = delete;
    PieceReader& operator=(const PieceReader&) = delete;

    /// A full piece, the rest of the file, or nothing at its end.
    std::span<Bytef> Next() {
        std::size_t there = 0;
        while (there < piece_.size()) {
            const ssize_t read = ::read(descriptor_, &piece_[there], piece_.size() - there);
            if (read < 0 && errno == EINTR) continue;
            if (read < 0) FailWithErrno(name_);
            if (read == 0) break;
            there += static_cast<std::size_t>(read);
        }
        return std::span(piece_).first(there);
    }

private:
    std::string name_;
    int descriptor_;
    std::array<Bytef, kPieceBytes> piece_;
};

/// The members of a gzip file, one behind the other, as one stream of bytes.
///
/// zlib's own file functions would do, but they tell a file that cannot be read from one that is
/// damaged by errno only, and lose bytes to a call that was interrupted.
class Inflater {
public:
    Inflater() {
        if (inflateInit2(&stream_, kGzipFrame) != Z_OK) throw std::bad_alloc();
    }
    ~Inflater() { inflateEnd(&stream_); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Hands out what `piece` inflates to, bit by bit. False: there is nothing more to inflate.
    template <class Write>
    bool Take(std::span<Bytef> piece, Write write) {
        stream_.next_in = piece.data();
        stream_.avail_in = static_cast<uInt>(piece.size());
        do {
            stream_.next_out = out_.data();
            stream_.avail_out = static_cast<uInt>(out_.size());
            state_ = inflate(&stream_, Z_NO_FLUSH);
            write(std::span<const Bytef>(out_).first(out_.size() - stream_.avail_out));
            if (state_ == Z_MEM_ERROR) throw std::bad_alloc();
            if (state_ == Z_STREAM_END) {
                ++members_;
                inflateReset(&stream_);
            } else if (state_ != Z_OK && state_ != Z_BUF_ERROR) {
                return false;
            }
        } while (stream_.avail_in > 0 || stream_.avail_out == 0);
        return true;
    }

    /// Whether all that began has ended. What follows the last member and does not begin like
    /// another is none of the file's.
    bool IsWhole() const {
        const bool is_other = state_ == Z_DATA_ERROR ? stream_.total_in <= kMagicBytes
                                                     : stream_.total_in < kMagicBytes;
        return members_ > 0 && is_other;
    }

private:
    z_stream stream_{};
    int state_ = Z_OK;
    int members_ = 0;  ///< that came to their end
    std::array<Bytef, kPieceBytes> out_;
};

}  // namespace

InputFile::InputFile(const std::string& name, Gzip gzip) : name_(name), path_(name) {
    if (name == "-") CopyStandardInput();
    if (gzip == Gzip::kInflated) Inflate();
}

void InputFile::CopyStandardInput() {
    name_ = "standard input";
    path_ = "/dev/stdin";
    // A file that was redirected can be opened again; whatever else it is comes only once.
    struct stat info;
    if (::fstat(STDIN_FILENO, &info) == 0 && S_ISREG(info.st_mode)) return;
    spool_ = std::make_unique<Spool>();
    CopyDescriptor(STDIN_FILENO, name_, spool_->Descriptor(), "temporary file");
    path_ = spool_->Path();
}

/// A broken stream is kept as far as it could be inflated: who inflates files first does so to save
/// what is left of them. A file that cannot be read is no broken stream, and fails.
void InputFile::Inflate() {
    const auto raw = std::make_unique<PieceReader>(path_, name_);
    std::span<Bytef> piece = raw->Next();
    if (piece.size() < kMagicBytes || piece[0] != 0x1f || piece[1] != 0x8b) return;

    auto inflated = std::make_unique<Spool>();
    const std::string path = inflated->Path();
    PlainFile out;
    if (!out.Open(path.c_str(), kPlainWrite)) FailWithErrno("temporary file");
    const auto write = [&](std::span<const Bytef> bytes) {
        if (out.Write(std::as_bytes(bytes))) return;
        errno = out.Error();
        FailWithErrno("temporary file");
    };
    const auto inflater = std::make_unique<Inflater>();
    while (!piece.empty() && inflater->Take(piece, write)) piece = raw->Next();
    was_inflated_ = true;
    broke_off_ = !inflater->IsWhole();
    path_ = path;
    spool_ = std::move(inflated);
}
