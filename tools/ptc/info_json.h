// The header of a cloud for machines. docs/tools.md fixes the layout.

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/ptc/cloud_size.h"

/// What `ptc info --json` says of one file. Numbers that are not finite become null.
nlohmann::ordered_json InfoJson(const std::string& name, const Cloud& cloud, const CloudSize& size);
