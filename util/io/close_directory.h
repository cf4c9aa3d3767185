// CloseDirectory: for std::unique_ptr<DIR, CloseDirectory>.
//
// Units      none.
// Errors     none: closing a folder that was read loses nothing.
// Ownership  ends that of the folder's stream.
// Threads    any.

#pragma once

#include <dirent.h>

struct CloseDirectory {
    void operator()(DIR* directory) const { (void)::closedir(directory); }
};
