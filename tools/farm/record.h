// Record: what a job's folder says about one task.
//
// Units      seconds; times are seconds since 1970 UTC; bytes.
// Errors     see each function.
// Ownership  a value.
// Threads    any, and any machine.
//
// A task that runs has a record in running/, which moves to done/ or failed/ at its end. Records
// are rewritten in place and are never longer than when they were made: on a full disk a task can
// still say that it failed.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/farm/process_name.h"
#include "tools/farm/small_file.h"

namespace farm {

inline constexpr std::size_t kRecordBytes = 4096;

struct Record {
    std::string task;
    ProcessName owner;
    double ready = 0;  ///< when all that the task needs was there
    double begun = 0;
    double ended = 0;

    std::string reason;  ///< of a failure; empty: none

    std::string made_from;  ///< digests of the command with the sources' stamps, and of the
    std::string made_of;    ///< stamps of what the tasks before it have made
    Stamp output;           ///< of the output when it was made
    double user_seconds = 0;
    double system_seconds = 0;
    std::int64_t peak_bytes = 0;
};

/// kRecordBytes of text. A reason that is too long is cut.
std::string RecordText(Record record);

/// The record in a file; nothing if there is none, or none that is whole.
std::optional<Record> ReadRecord(const std::string& file);

/// Now, as the records have it.
double Now();

}  // namespace farm
