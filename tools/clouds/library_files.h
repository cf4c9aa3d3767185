// The files of a command that the library reads and writes by name.
//
// Units      none.
// Errors     a Failure; the library's own names the file as the user did.
// Ownership  owns temporary copies of standard input and output, and removes them.
// Threads    one caller at a time; FailureText() is of the thread's last failure.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/clouds/temporary_cloud.h"
#include "tools/common/input_file.h"

class LibraryInputs {
public:
    explicit LibraryInputs(const std::vector<std::string>& names);
    LibraryInputs(const LibraryInputs&) = delete;
    LibraryInputs& operator=(const LibraryInputs&) = delete;

    int Count() const { return static_cast<int>(files_.size()); }
    const InputFile& operator[](int index) const { return files_[static_cast<std::size_t>(index)]; }

    /// What the library opens, `Count()` of them.
    const char* const* Paths() const { return paths_.data(); }

    /// The library's last failure in this thread.
    std::string FailureText() const;

private:
    std::vector<InputFile> files_;
    std::vector<const char*> paths_;
};

/// A file that the library gives its name when it is whole. What goes to standard output or to
/// another file that is no regular one, such as a device, is collected in a folder of its own
/// first, where TMPDIR says.
class LibraryOutput {
public:
    /// `name`: the file to be, "-" for standard output.
    explicit LibraryOutput(const std::string& name);
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    const std::string& Path() const { return path_; }  ///< for the library
    const std::string& Name() const { return name_; }  ///< for messages
    bool IsStandardOutput() const { return is_standard_output_; }

    /// Throws the library's last failure in this thread.
    [[noreturn]] void Fail(const LibraryInputs& inputs) const;

    /// Hands over what is not under its name yet. Caller: the library has finished the file.
    void Commit();

private:
    std::string name_;
    std::string path_;
    std::optional<TemporaryCloud> temporary_;  ///< of a file that is on its way
    const bool is_standard_output_;
};
