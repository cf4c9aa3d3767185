// The caches' report: the merged figures as XML, or as a short table to read.
//
// Units      megabytes are 2^20 bytes; rates in per cent; times in seconds.
// Errors     none.
// Ownership  answers are copies.
// Threads    any; no thread changes the given section meanwhile.

#pragma once

#include <string>

#include "ptc/cache/cache_stats.h"

/// The section as one XML document. `total`: what MergeCacheStats() made.
std::string CacheReportXml(const PtcCacheStats& total);

/// The same in a few lines: a column for points, one for nodes. The hit rate is "-" when there were
/// no lookups.
std::string CacheReportTable(const PtcCacheStats& total);
