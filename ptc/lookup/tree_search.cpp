// Gives up a file whose octree cannot be right.

#include "ptc/lookup/tree_search.h"

void TreeSearch::GiveUp(std::int32_t file, const LookedUpFile& damaged, const char* why) {
    left_[static_cast<std::size_t>(file)].nodes = -1;
    all_read_ = false;
    SetFailure(PtcFailureCode::kUnreadable, damaged.file->Name(), "the octree", 0, why);
}
