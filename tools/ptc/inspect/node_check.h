// The octree's check: every node's references, counts and boxes.

#pragma once

#include <cstdint>

#include "ptc/cloud/reader.h"
#include "tools/common/progress.h"
#include "tools/ptc/fault_list.h"
#include "tools/ptc/header_check.h"

/// Checks the nodes of `cloud`, which begin at `begin`, behind the points. In binary files
/// also that every point lies in the box of its leaf. `progress` goes on from the points, node by
/// node. A read error ends the check, and the cloud's input keeps it. Caller: the file is not
/// compressed, and its header counts nodes or names a root.
void CheckNodes(CloudReader& cloud, const HeaderPlaces& places, std::int64_t begin,
                FaultList& faults, Progress* progress);
