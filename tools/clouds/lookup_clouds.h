// LookupClouds: the clouds that a command looks points up in, and their variables.
//
// Units      files are counted from 0, in the order given.
// Errors     a file that cannot be used is left out and becomes a text of Failures().
// Ownership  owns the open files; a lookup that is made of them must not outlive them.
// Threads    made and destroyed by one thread; any thread may ask.

#pragma once

#include <span>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/format/cloud_header.h"
#include "ptc/lookup.h"
#include "tools/clouds/library_files.h"

class LookupClouds {
public:
    /// Opens the files called `names`.
    explicit LookupClouds(const std::vector<std::string>& names);

    int Count() const { return inputs_.Count(); }
    const std::string& Name(int file) const { return inputs_[file].Name(); }

    /// The files; null for those that could not be opened.
    std::span<PtcManagedFile* const> Handles() const { return handles_; }

    /// The point variables of all files, each name once, as the first file that has it declares it.
    const CloudVariables& Variables() const { return variables_; }

    /// Makes a lookup with the data of `variables`, whose sizes become those of its answers: 0 for
    /// those that none of the files in use has.
    PtcLookup Make(CloudVariables* variables);

    /// Why files are left out, a line for each.
    const std::vector<std::string>& Failures() const { return failures_; }

    /// The library's last failure in the calling thread.
    std::string FailureText() const { return inputs_.FailureText(); }

private:
    void Open(int file);
    void TellUnused(const PtcLookup& lookup);

    LibraryInputs inputs_;
    std::vector<PtcFile> files_;
    std::vector<PtcManagedFile*> handles_;
    CloudVariables variables_;
    std::vector<std::string> failures_;
};

/// Adds a variable behind those that are there.
void AddVariable(std::string type, std::string name, std::int32_t size, CloudVariables* variables);
