// InputFile: a file that a user named, "-" for standard input, as something that can be opened
// by name, measured and read at any place.
//
// A name may go on behind that of a zip archive: "A.zip/cloud.ptc" is a member of the archive
// A.zip, unless there is a file of that name. The member is inflated to a temporary file without a
// name. An archive itself is refused, because no command reads one as a whole.
//
// Units      none.
// Errors     a Failure that names the file.
// Ownership  owns the temporary copy, where one is needed, and removes it.
// Threads    one caller at a time.

#pragma once

#include <memory>
#include <string>

#include "tools/common/spool.h"

class InputFile {
public:
    enum class Gzip {
        kAsStored,
        kInflated,  ///< a gzip file is inflated first, up to where it breaks off
        kAnyBytes,  ///< as stored, and it may be an archive
    };

    explicit InputFile(const std::string& name, Gzip gzip = Gzip::kAsStored);

    /// What to open, any number of times.
    const std::string& Path() const { return path_; }

    /// What messages call the file.
    const std::string& Name() const { return name_; }

    /// Whether the file was inflated, and then whether its end was missing or damaged.
    bool WasInflated() const { return was_inflated_; }
    bool BrokeOff() const { return broke_off_; }

private:
    void CopyStandardInput();
    void TakeMember();
    void RefuseArchive() const;
    void Inflate();

    std::string name_;
    std::string path_;
    std::unique_ptr<Spool> spool_;
    bool was_inflated_ = false;
    bool broke_off_ = false;
};
