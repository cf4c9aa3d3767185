// A cloud as the C interface hands it out: an open file, what its header says, and its lookup.
//
// Units      those of ptc/records.h.
// Errors     false, and the failure is stored; throws std::bad_alloc.
// Ownership  owns the open file, which no thread and no manager knows.
// Threads    Open() before others use the cloud; the rest from any number of threads at once.

#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ptc/header.h"
#include "ptc/lookup.h"
#include "ptc/ptc.h"

class PtcManagedFile;

struct ptc_cloud {
public:
    ptc_cloud() = default;
    ~ptc_cloud();
    ptc_cloud(const ptc_cloud&) = delete;
    ptc_cloud& operator=(const ptc_cloud&) = delete;

    bool Open(const char* name);

    PtcManagedFile* File() const { return file_; }
    const char* Name() const { return name_.c_str(); }
    const ptc_header& Header() const { return header_; }
    /// False: there is none, which stores no failure. The texts live as long as the cloud.
    bool GetVariable(std::int32_t index, ptc_variable* variable) const;

    /// See PtcLookup::NearestOfMany(). Makes the lookup if there is none, or if a shutdown has
    /// ended the one that there was.
    bool Nearest(const PtcPlaces& places, const PtcNearest& wanted, const PtcNearestArrays& arrays,
                 std::int32_t* found) const;

private:
    const PtcLookup* MakeLookup(const PtcLookup* ended) const;

    // Immutable once it is open.
    std::string name_;
    PtcManagedFile* file_ = nullptr;
    ptc_header header_{};
    PtcVariables variables_;
    std::vector<std::int32_t> first_floats_;  ///< of the variables

    mutable std::atomic<const PtcLookup*> lookup_{nullptr};  ///< null: not made yet

    /// Guards the list of lookups, the last of which is in use. Those before it are kept, because
    /// another thread may be just about to use one. Nothing is read and no message sent under it.
    mutable std::mutex making_;
    mutable std::vector<std::unique_ptr<const PtcLookup>> lookups_;
};
