// The header's check: every value by the format's rules, each fault with its place.

#pragma once

#include <optional>

#include "ptc/format/header_grammar.h"
#include "tools/common/input_file.h"
#include "tools/ptc/fault_list.h"

/// Walks through the header of `file`, either form, any version, plain or gzip, and adds what is
/// wrong to `faults`, each at the value's place. A count of points or nodes is held against the
/// rules for counts only: what is in the file is not looked at.
/// Nothing: a fault leaves unknown where the rest of the header stands, or the reader refuses it.
/// Fails when the file cannot be opened or read.
std::optional<HeaderPlaces> CheckHeader(const InputFile& file, FaultList& faults);
