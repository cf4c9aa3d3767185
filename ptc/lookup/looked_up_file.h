// A file of a lookup: where its octree is, and which floats of its points are wanted.

#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ptc/files/managed_file.h"
#include "ptc/lookup/tree_in_memory.h"
#include "ptc/records.h"

struct LookedUpFile {
    PtcManagedFile* file = nullptr;                 ///< null: left out
    std::shared_ptr<const TreeInMemory> in_memory;  ///< null: the octree is in the file
    std::uint32_t identity = 0;                     ///< the file's when the lookup was made
    std::int64_t root_reference = 0;
    std::int64_t points = 0;            ///< no octree leads to more
    std::int64_t nodes = 0;             ///< likewise
    std::vector<std::int32_t> offsets;  ///< of each variable in a point's data; -1: it has none
};

struct LookedUpFiles {
    std::vector<LookedUpFile> files;
    std::vector<PtcNode> roots;  ///< of the files, and others up to a multiple of four
    std::uint64_t number = 0;    ///< no other lookup of the process has it
};

/// The floats of one variable in an answer.
struct WantedVariable {
    std::int32_t offset = 0;
    std::int32_t size = 0;
};
