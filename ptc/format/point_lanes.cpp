// Four points at a time, and the choice of the loops.

#include "ptc/format/point_lanes.h"

#include "ptc/format/point_lane_loops.h"
#include "util/base/processor.h"

namespace {

void EncodeNormalsByFour(const HeadRun& heads, NormalCodes& codes) {
    EncodeNormalsByLanes<4>(heads, codes);
}

void IncludeByFour(const HeadRun& heads, LaneBounds* bounds) {
    IncludeByLanes<4>(heads, bounds);
}

}  // namespace

const PointLanes kFourLanes = {&EncodeNormalsByFour, &IncludeByFour};

const PointLanes& BestPointLanes() {
    static const PointLanes& best = processor::HasAvx2() ? kEightLanes : kFourLanes;
    return best;
}
