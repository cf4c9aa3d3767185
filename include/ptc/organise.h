// Organising: point clouds into one whose points stand in the order of an octree, which follows
// them; and merging, which is the same without the octree.
//
//   const char* const inputs[] = {"a.ptc", "b.ptc"};
//   PtcOrganiseSummary summary;
//   if (!PtcOrganise({.inputs = inputs, .input_count = 2, .output = "all.ptc"}, &summary))
//       std::fputs(PtcLastFailure().text, stderr);
//
// Units      memory in bytes; indexes count points from 0.
// Errors     false, and PtcLastFailure() (ptc/failure.h) says why: the file and the reason. Nothing
//            of the output stays then, and a file that had its name before still has it. Nothing is
//            thrown.
// Ownership  texts and arrays are the caller's and are not kept.
// Threads    any function from any thread; calls with different outputs are independent.
//
// Inputs may be binary, text or gzip. Each has the variables of the first one, matched by name and
// type, in any order; matrices and image format are those of the first. Inputs that are no
// regular files, or have a negative radius, are refused. docs/format.md describes the result, which
// is a binary file in any case. The zones are applied to the names of files (ptc/runtime.h).

#pragma once

#include <cstdint>

#include "ptc/api.h"
#include "ptc/failure.h"

/// Hears how far the work is: `done` never falls, and is 1 when only the disk is waited for. False
/// ends the work, which then fails with PtcFailureCode::kStopped. Called by the thread that called
/// the library; throws nothing.
using PtcProgress = bool (*)(void* context, double done);

struct PtcOrganiseRequest {
    const char* const* inputs = nullptr;
    int input_count = 0;
    const char* output = nullptr;  ///< may be one of the inputs

    /// The most in a leaf, unless they are all in one place. 0: 128, with light 16.
    int leaf_points = 0;
    bool drop_repeats = false;  ///< of points with the same bytes only the first is kept

    /// Bounds what the process takes for this call. Parts of a larger cloud go to unnamed files in
    /// the folder that TMPDIR names, or in /tmp. Neither memory nor threads change the result. Less
    /// than 16 MB counts as that, and a few times what the points of a leaf take are needed. So is,
    /// for some nodes of every level, eight times the data of a point: much for very large points.
    std::int64_t memory = std::int64_t{1} << 30;
    /// 0: as many as ptc/runtime.h says. Fewer work where the memory has no room for them.
    int threads = 0;

    PtcProgress progress = nullptr;
    void* context = nullptr;  ///< for `progress`

    /// Adds what light needs to the nodes: tree variables behind those of the points, which
    /// docs/format.md describes. `light_color`: a variable of 3 floats; null: `_reflected`, else
    /// the first color, if there is one; empty: none. `light_area`: a variable of 1 float, the area
    /// of each point; null: a float `_area` or `area`, if there is one; empty: none, so that areas
    /// are pi r^2.
    bool light = false;
    const char* light_color = nullptr;
    const char* light_area = nullptr;
};

struct PtcOrganiseSummary {
    std::int64_t points;      ///< in the output
    std::int64_t not_finite;  ///< of these, the last ones, which no node covers
    std::int64_t repeats;     ///< left out
    std::int64_t nodes;
    std::int64_t leaves;
    std::int32_t depth;           ///< of the deepest leaf; 0: the root is the only node
    std::int64_t bytes_in_parts;  ///< that went to files in TMPDIR
};

/// Writes the points of `inputs` as one organised binary file. `summary`: may be null. Refuses more
/// points than the 32 bits of a node's fields count, 2147483647.
PTC_API bool PtcOrganise(const PtcOrganiseRequest& request, PtcOrganiseSummary* summary) noexcept;

struct PtcMergeRequest {
    const char* const* inputs = nullptr;
    int input_count = 0;
    const char* output = nullptr;  ///< may be one of the inputs

    PtcProgress progress = nullptr;
    void* context = nullptr;  ///< for `progress`
};

/// Writes the points of `inputs`, one after the other in the order given, as one binary file
/// without an octree. `points`, unless null: how many.
PTC_API bool PtcMerge(const PtcMergeRequest& request, std::int64_t* points) noexcept;
