// The start of every program: standard descriptors and the configuration.

#pragma once

#include <string>

/// Holds the standard descriptors (tools/common/standard_streams.h) and loads the configuration.
/// A file size limit becomes a write error.
/// What LUMR_DUMP_DEFAULTS prints goes to standard error, because standard output may be a cloud.
/// Caller: main(), first of all. False: the system refused, or memory ran out.
[[nodiscard]] bool StartProgram();

/// Where the file or folder that a user calls `name` is on this machine: docs/configuration.md
/// describes the zones. A name is looked up once, as it comes from the command line. "-", which is
/// a standard stream, is nowhere else.
std::string PlaceOf(const std::string& name);
