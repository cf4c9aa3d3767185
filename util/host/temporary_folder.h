// TemporaryFolder: a folder that goes with its owner, even with one that is killed.
//
// Its name is "ptc-tmp.MACHINE.XXXXXX", below the folder that TMPDIR names or /tmp, and it is open
// to this user alone. A file ".lock" inside is locked with flock(2) as long as the process lives:
// the system drops the lock at any death, and unlike a process's number, it means the same in
// containers that share the folder. Making a folder first sweeps those that dead processes of this
// user and this machine have left.
//
// Units      none.
// Errors     false, and errno says why; FailedName() says what it is about. Throws std::bad_alloc.
// Ownership  owns the folder and all in it. A copy of the process (fork) does not.
// Threads    one caller at a time; different objects may be used by different threads at once.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "util/io/owned_descriptor.h"

class TemporaryFolder {
public:
    TemporaryFolder() = default;
    ~TemporaryFolder() { Remove(); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Caller: this object has no folder.
    [[nodiscard]] bool Make();

    /// Begins at the root; empty: there is none.
    const std::string& Path() const { return path_; }
    const std::string& FailedName() const { return failed_name_; }

    /// Removes the folder now.
    void Remove();

private:
    std::string path_;
    std::string failed_name_;
    OwnedDescriptor lock_;
    pid_t owner_ = -1;
};

/// Removes the folders that dead processes of this user and this machine have left below `parent`,
/// for at most about `limit`; the rest waits for the next sweep. Nothing else is touched, and no
/// link is followed.
void SweepTemporaryFolders(const std::string& parent, std::chrono::milliseconds limit);
