// WholeFile: a file that takes its name only when all of its bytes are on disk.
//
// The bytes are collected beside the final name, because only within one file system is renaming
// all or nothing. Where the file system can make a file without a name, they have none until then:
// even a killed process leaves nothing behind, unless it dies while it replaces an older file.
//
// Units      none.
// Errors     false, and errno says why. Throws std::bad_alloc when memory runs out.
// Ownership  owns what is written until Commit(); without that nothing of it stays, and a file that
//            had the name before stays as it was.
// Threads    one caller at a time.

#pragma once

#include <string>

class WholeFile {
public:
    WholeFile() = default;
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// `name`: the file to be, or an older one that it replaces and whose permissions it takes.
    /// Symbolic links are followed. Caller: `name` is no folder, device or pipe.
    [[nodiscard]] bool Begin(const std::string& name);

    /// What to open and write to, any number of times.
    const std::string& Path() const { return path_; }

    /// Gives the file its name, once its bytes are on disk: after a power cut the name stands for
    /// the older file or for the whole new one. Caller: has closed what it opened.
    [[nodiscard]] bool Commit();

private:
    std::string BesideName(int attempt) const;
    bool OpenBeside();

    std::string target_;  ///< the name, symbolic links followed
    std::string path_;
    std::string beside_;  ///< the name so far; empty: none
    int descriptor_ = -1;
};
