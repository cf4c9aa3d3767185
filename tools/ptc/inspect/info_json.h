// The header of a cloud for machines. docs/tools.md fixes the layout.

#pragma once

#include <string>
#include <vector>

#include "tools/ptc/inspect/header_facts.h"
#include "tools/ptc/measure/measurement.h"

/// What `ptc info --json` says of one file and its points: an object, indented as an item of a
/// list. Numbers that are not finite become null; what is no UTF-8 in a name becomes U+FFFD.
std::string InfoJson(const HeaderFacts& facts, const measure::Measurement& measured);

/// All that `ptc info --json` prints, of the objects of its files.
std::string InfoJsonList(const std::vector<std::string>& objects);
