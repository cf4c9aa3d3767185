// Eight points at a time. This whole file is compiled for AVX2, so it holds nothing else, and is
// called on such processors only.

#include "ptc/format/point_lane_loops.h"

namespace {

void EncodeNormalsByEight(const HeadRun& heads, NormalCodes& codes) {
    EncodeNormalsByLanes<8>(heads, codes);
}

void IncludeByEight(const HeadRun& heads, LaneBounds* bounds) {
    IncludeByLanes<8>(heads, bounds);
}

}  // namespace

const PointLanes kEightLanes = {&EncodeNormalsByEight, &IncludeByEight};
