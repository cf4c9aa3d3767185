// The header's check: every value by the format's rules, each fault with its place.

#pragma once

#include <memory>
#include <string>

#include "ptc/cloud/reader.h"
#include "tools/common/input_file.h"
#include "tools/ptc/fault_list.h"

struct OpenedCloud {
    std::unique_ptr<CloudReader> cloud;
    HeaderPlaces places;
};

/// Opens `file`, either form, any version, plain or gzip, reads its header and adds what is wrong
/// to `faults`, each fault at the value's place. Counts of points and nodes are checked against the
/// rules for counts only, not against what is in the file. The cloud prints and reports nothing,
/// and is at its first point.
/// No cloud: the place of a value is unknown because of a fault before it, or the reader refuses
/// the header although it is whole, for the reason `*why`, which is untouched otherwise.
/// Fails when the file cannot be opened or read.
OpenedCloud CheckHeader(const InputFile& file, FaultList& faults, std::string* why);
