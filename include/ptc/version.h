// The library's version, by semantic versioning: before 1.0 each minor version may break programs,
// later only each major one. The shared library's name has the part that breaks programs.
//
// Errors     none.
// Threads    any.

#pragma once

#include "ptc/api.h"

#define PTC_VERSION_MAJOR 0
#define PTC_VERSION_MINOR 3
#define PTC_VERSION_PATCH 0
#define PTC_VERSION "0.3.0"

/// The version of the library that the program runs with, such as "0.3.0". PTC_VERSION is that of
/// the headers that it was compiled with.
PTC_API const char* PtcVersion() noexcept;
