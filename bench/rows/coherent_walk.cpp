// A walk from point to neighbouring point, with all blocks cached and with a tenth of them.

#include "bench/rows/cached_cloud.h"

int main(int count, char** arguments) {
    using namespace cached_cloud;
    constexpr std::int64_t kTenth = kBlocks / 10;
    return RunRows(
        count, arguments,
        {MakeRow({"coherent walk, all cached", Stream::kWalk, 1, 1, kBlocks, 0.8}),
         MakeRow({"coherent walk, all cached, 2 threads", Stream::kWalk, 2, 2, kBlocks, 0.8}),
         MakeRow({"coherent walk, cache of 10 %", Stream::kWalk, 1, 1, kTenth, 0.55}),
         MakeRow({"coherent walk, cache of 10 %, 2 threads", Stream::kWalk, 2, 2, kTenth, 0.55})});
}
