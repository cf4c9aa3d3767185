// The header's check: every value by the format's rules, each fault with its place.

#pragma once

#include <cstdint>
#include <optional>

#include "tools/common/input_file.h"
#include "tools/ptc/fault_list.h"

/// Where the header's values stand, in bytes from the file's start; -1: this version has none.
struct HeaderPlaces {
    std::int64_t point_count = -1;
    std::int64_t box = -1;
    std::int64_t node_count = -1;
    std::int64_t root_position = -1;
    std::int64_t largest_radius = -1;
    std::int64_t fixed_header = -1;  ///< what follows the block that is rewritten in place
    std::int64_t data_start = -1;    ///< what follows the header
};

/// Walks through the header of `file`, either form, any version, plain or gzip, and adds what is
/// wrong to `faults`, each at the value's place. A count of points or nodes is held against the
/// rules for counts only: what is in the file is not looked at.
/// Nothing: a fault leaves unknown where the rest of the header stands, or the reader refuses it.
/// Fails when the file cannot be opened or read.
std::optional<HeaderPlaces> CheckHeader(const InputFile& file, FaultList& faults);
