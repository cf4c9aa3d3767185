// TemporaryCloud: a file in a folder of its own, for the library to write under a name.
//
// Units      none.
// Errors     a Failure with the system's reason.
// Ownership  owns the folder and the file, and removes both. Those of a killed run go with the next
//            run that makes one.
// Threads    one caller at a time.

#pragma once

#include <string>

#include "util/host/temporary_folder.h"
#include "util/io/owned_descriptor.h"

class TemporaryCloud {
public:
    /// A folder where TMPDIR says, or in /tmp. The file is not there yet.
    TemporaryCloud();

    /// What to open, any number of times.
    const std::string& Path() const { return path_; }

    /// Removes folder and name; the file stays, under another Path(), until this object goes.
    /// Caller: the file is complete.
    void HideFile();

private:
    TemporaryFolder folder_;
    std::string path_;
    OwnedDescriptor hidden_;
};
