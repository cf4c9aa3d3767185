// TemporaryCloud: a file in a folder of its own, for the library to write under a name.
//
// Units      none.
// Errors     a Failure with the system's reason.
// Ownership  owns the folder and the file, and removes both. Of a killed run the folder stays, with
//            the file if the library had completed it, unless HideFile() was called.
// Threads    one caller at a time.

#pragma once

#include <string>

class TemporaryCloud {
public:
    /// A folder where TMPDIR says, or in /tmp. The file is not there yet.
    TemporaryCloud();
    ~TemporaryCloud();
    TemporaryCloud(const TemporaryCloud&) = delete;
    TemporaryCloud& operator=(const TemporaryCloud&) = delete;

    /// What to open, any number of times.
    const std::string& Path() const { return path_; }

    /// Removes folder and name; the file stays, under another Path(), until this object goes.
    /// Caller: the file is complete.
    void HideFile();

private:
    void Remove();

    std::string folder_;  ///< empty: removed
    std::string path_;
    int descriptor_ = -1;  ///< of the hidden file
};
