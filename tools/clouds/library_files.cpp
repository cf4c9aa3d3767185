// Files of the library: names for people and names for the system.

#include "tools/clouds/library_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "ptc/failure.h"
#include "tools/clouds/foreign_file.h"
#include "tools/common/failure.h"

namespace {

/// Puts `name` for `path` where `text` begins with it. False: it does not.
bool Rename(const std::string& path, const std::string& name, std::string* text) {
    if (!text->starts_with(path + ':')) return false;
    text->replace(0, path.size(), name);
    return true;
}

/// Closes a descriptor at the end of a scope.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return number_; }

private:
    const int number_;
};

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

LibraryOutput::LibraryOutput(const std::string& name)
    : name_(name), path_(name), is_standard_output_(name == "-") {
    struct stat info;
    const bool is_there = !is_standard_output_ && ::stat(name.c_str(), &info) == 0;
    if (is_there && S_ISDIR(info.st_mode)) FailWithErrno(name, EISDIR);
    if (is_standard_output_) name_ = "standard output";
    if (!is_standard_output_ && (!is_there || S_ISREG(info.st_mode))) return;
    path_ = temporary_.emplace().Path();
}

void LibraryOutput::Fail(const LibraryInputs& inputs) const {
    std::string text = inputs.FailureText();
    (void)Rename(path_, name_, &text);
    throw Failure(text);
}

void LibraryOutput::Commit() {
    if (!temporary_) return;
    temporary_->HideFile();
    const Descriptor file(::open(temporary_->Path().c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Number() < 0) FailWithErrno(path_);
    if (is_standard_output_) {
        if (std::fflush(stdout) != 0) FailWithErrno(name_);
        CopyDescriptor(file.Number(), "temporary file", STDOUT_FILENO, name_);
        return;
    }
    const Descriptor out(::open(name_.c_str(), O_WRONLY | O_CLOEXEC));
    if (out.Number() < 0) FailWithErrno(name_);
    CopyDescriptor(file.Number(), "temporary file", out.Number(), name_);
}
