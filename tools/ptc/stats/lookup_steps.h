// LookupSteps: lookups at the places of a cloud's own points.
//
// Units      those of ptc/lookup.h; the filter's radius is twice the spacing of the points.
// Errors     false, and PtcLastFailure() of the calling thread says why.
// Ownership  borrows the open file.
// Threads    any number of threads make steps at once.

#pragma once

#include <cstdint>

#include "ptc/access.h"
#include "ptc/lookup.h"

class LookupSteps {
public:
    LookupSteps(PtcManagedFile* file, bool filters);

    /// Whether the file can be looked up.
    explicit operator bool() const { return is_usable_; }

    /// Looks up at the place of point `index`.
    bool At(std::int64_t index) const;

private:
    static PtcLookup Make(PtcManagedFile* file, bool filters);

    PtcManagedFile* file_;
    const bool filters_;
    const PtcLookup lookup_;
    bool is_usable_;
    float radius_ = 0;
};
