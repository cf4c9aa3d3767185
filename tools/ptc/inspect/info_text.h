// The header of a cloud for people.

#pragma once

#include <string>

#include "tools/ptc/inspect/header_facts.h"

/// What `ptc info` says of one file: its name, and a line for each thing.
std::string InfoText(const HeaderFacts& facts);
