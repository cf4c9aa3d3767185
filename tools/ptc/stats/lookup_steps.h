// LookupSteps: lookups at the places of a cloud's own points.
//
// Units      those of ptc/lookup.h; the filter's radius is twice the spacing of the points.
// Errors     a Failure when the cloud cannot be looked up; a lookup that fails answers false.
// Ownership  borrows the open file.
// Threads    any number of threads make steps at once.

#pragma once

#include <cstdint>
#include <string>

#include "ptc/access.h"
#include "ptc/lookup.h"

class LookupSteps {
public:
    /// `name`: the file's, for messages.
    LookupSteps(PtcManagedFile* file, const std::string& name, bool filters);

    /// Looks up at the place of point `index`.
    bool At(std::int64_t index) const;

private:
    static PtcLookup Make(PtcManagedFile* file, bool filters);

    PtcManagedFile* file_;
    const bool filters_;
    const PtcLookup lookup_;
    float radius_ = 0;
};
