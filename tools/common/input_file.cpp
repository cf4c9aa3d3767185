// InputFile: standard input and gzip files as plain files.

#include "tools/common/input_file.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "util/plain_file.h"

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

/// zlib reads plain files, too, and says so. A broken stream is kept as far as it could be
/// inflated: who inflates files first does so to save what is left of them.
void InputFile::Inflate() {
    std::unique_ptr<std::remove_pointer_t<gzFile>, int (*)(gzFile)> stream(
        gzopen(path_.c_str(), "rbe"), gzclose);
    if (!stream) FailWithErrno(name_);
    if (gzdirect(stream.get())) return;  // not compressed

    auto inflated = std::make_unique<Spool>();
    const std::string path = inflated->Path();
    PlainFile out;
    if (!out.Open(path.c_str(), kPlainWrite)) FailWithErrno("temporary file");
    std::array<char, 1 << 16> piece;
    int there = 0;
    while ((there = gzread(stream.get(), piece.data(), piece.size())) > 0) {
        const auto bytes = std::span(piece).first(static_cast<std::size_t>(there));
        if (!out.Write(std::as_bytes(bytes))) {
            errno = out.Error();
            FailWithErrno("temporary file");
        }
    }
    int status = Z_OK;
    gzerror(stream.get(), &status);
    was_inflated_ = true;
    broke_off_ = there < 0 || status != Z_OK;
    path_ = path;
    spool_ = std::move(inflated);
}
