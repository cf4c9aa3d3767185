// OutputFile: a file that appears under its name only when it is whole.
//
// Units      none.
// Errors     a Failure that names the file.
// Ownership  owns what is written until Commit(); without that it is removed, and a file of that
//            name stays as it was.
// Threads    one caller at a time.
//
// The bytes are collected beside the final name and renamed at the end; where the file system can,
// they have no name until then, so that even a killed run leaves nothing. The finished bytes
// are copied to what is not a regular file, such as standard output or a device.

#pragma once

#include <memory>
#include <string>

#include "tools/common/spool.h"
#include "util/io/whole_file.h"

class OutputFile {
public:
    /// `name`: the file to be, "-" for standard output.
    explicit OutputFile(const std::string& name);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// What to open and write to, any number of times.
    const std::string& Path() const { return path_; }

    /// What messages call the file.
    const std::string& Name() const { return name_; }
    bool IsStandardOutput() const { return is_standard_output_; }

    /// Gives the file its name, once its bytes are on disk: after a power cut the name is that of
    /// the older file or of the whole new one. Caller: has closed what it opened.
    void Commit();

private:
    void CopyOut();

    std::string name_;
    std::string path_;
    bool is_standard_output_;
    std::unique_ptr<Spool> spool_;  ///< of what is copied at the end
    WholeFile whole_;               ///< of what is renamed at the end
};
