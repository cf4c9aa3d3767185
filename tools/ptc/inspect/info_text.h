// The header of a cloud for people.

#pragma once

#include <string>

#include "tools/ptc/inspect/cloud_size.h"

/// What `ptc info` says of one file: its name, and a line for each thing.
std::string InfoText(const std::string& name, const CloudReader& cloud, const CloudSize& size);
