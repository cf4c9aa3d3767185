// LightWalk: trees that are damaged.

#include "light/light_walk.h"

bool LightWalk::GiveUp(const LightFile& file, const char* why) {
    open_.clear();
    SetFailure(PtcFailureCode::kUnreadable, file.file->Name(), "the octree", 0, why);
    return false;
}
