// OutputFile: collecting beside the name, and taking the name at the end.

#include "tools/common/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "tools/common/failure.h"

OutputFile::OutputFile(const std::string& name)
    : name_(name == "-" ? "standard output" : name), is_standard_output_(name == "-") {
    struct stat info;
    const bool is_there = !is_standard_output_ && ::stat(name.c_str(), &info) == 0;
    if (is_there && S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        FailWithErrno(name_);
    }
    if (is_standard_output_ || (is_there && !S_ISREG(info.st_mode))) {
        spool_ = std::make_unique<Spool>();
        path_ = spool_->Path();
        return;
    }
    if (!whole_.Begin(name)) FailWithErrno(name_);
    path_ = whole_.Path();
}

void OutputFile::Commit() {
    if (spool_) {
        CopyOut();
    } else if (!whole_.Commit()) {
        FailWithErrno(name_);
    }
}

/// A device or a pipe cannot be replaced. It gets all bytes, or none when the run fails earlier.
void OutputFile::CopyOut() {
    if (::lseek(spool_->Descriptor(), 0, SEEK_SET) < 0) FailWithErrno("temporary file");
    if (is_standard_output_) {
        if (std::fflush(stdout) != 0) FailWithErrno(name_);
        CopyDescriptor(spool_->Descriptor(), "temporary file", STDOUT_FILENO, name_);
        return;
    }
    const int out = ::open(name_.c_str(), O_WRONLY | O_CLOEXEC);
    if (out < 0) FailWithErrno(name_);
    try {
        CopyDescriptor(spool_->Descriptor(), "temporary file", out, name_);
    } catch (const Failure&) {
        ::close(out);
        throw;
    }
    if (::close(out) != 0) FailWithErrno(name_);
}
