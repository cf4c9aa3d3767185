// Files of the library: names for people and names for the system.

#include "tools/ptc/library_files.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "ptc/failure.h"
#include "tools/common/failure.h"
#include "tools/ptc/foreign_file.h"

namespace {

/// Puts `name` for `path` where `text` begins with it. False: it does not.
bool Rename(const std::string& path, const std::string& name, std::string* text) {
    if (!text->starts_with(path + ':')) return false;
    text->replace(0, path.size(), name);
    return true;
}

}  // namespace

LibraryInputs::LibraryInputs(const std::vector<std::string>& names) {
    files_.reserve(names.size());
    for (const std::string& name : names) files_.emplace_back(name);
    for (const InputFile& file : files_) paths_.push_back(file.Path().c_str());
}

std::string LibraryInputs::FailureText() const {
    const PtcFailure failure = PtcLastFailure();
    std::string text = failure.text;
    for (const InputFile& file : files_)
        if (Rename(file.Path(), file.Name(), &text)) {
            if (failure.code == PtcFailureCode::kNotACloud) text += ConvertHint(file);
            break;
        }
    return text;
}

LibraryOutput::LibraryOutput(const std::string& name) : name_(name), path_(name) {
    if (name != "-") return;
    name_ = "standard output";
    const char* const temporary = std::getenv("TMPDIR");
    folder_ = (temporary && *temporary ? std::string(temporary) : "/tmp") + "/ptc-XXXXXX";
    if (!::mkdtemp(folder_.data())) FailWithErrno(folder_);
    path_ = folder_ + "/out.ptc";
}

LibraryOutput::~LibraryOutput() {
    if (folder_.empty()) return;
    ::unlink(path_.c_str());
    ::rmdir(folder_.c_str());
}

void LibraryOutput::Fail(const LibraryInputs& inputs) const {
    std::string text = inputs.FailureText();
    (void)Rename(path_, name_, &text);
    throw Failure(text);
}

void LibraryOutput::Commit() {
    if (!IsStandardOutput()) return;
    const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) FailWithErrno(path_);
    // From here on not even a killed run leaves it.
    ::unlink(path_.c_str());
    try {
        if (std::fflush(stdout) != 0) FailWithErrno(name_);
        CopyDescriptor(file, "temporary file", STDOUT_FILENO, name_);
    } catch (const Failure&) {
        ::close(file);
        throw;
    }
    ::close(file);
}
