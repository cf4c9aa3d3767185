// Organising and merging clouds, behind the public functions.
//
// Units      those of ptc/organise.h.
// Errors     false, and `*failure` says why. Throws std::bad_alloc when memory runs out; nothing of
//            the output stays then, either.
// Ownership  borrows the request.
// Threads    any; calls with different outputs are independent.

#pragma once

#include "ptc/organise.h"
#include "ptc/organise/organise_error.h"

/// Points in a leaf at most, unless the request says otherwise. Lookups look at all points of a
/// node of that size rather than open it, so smaller leaves would only take room.
inline constexpr int kDefaultLeafPoints = 128;
/// Of clouds for light: points that are gathered one by one cost more than nodes.
inline constexpr int kLightLeafPoints = 16;

/// `request.threads`: at least 1. `summary`: may be null.
bool OrganiseClouds(const PtcOrganiseRequest& request, PtcOrganiseSummary* summary,
                    OrganiseFailure* failure);

/// `points`: may be null.
bool MergeClouds(const PtcMergeRequest& request, std::int64_t* points, OrganiseFailure* failure);
